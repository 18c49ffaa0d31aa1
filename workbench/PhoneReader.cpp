#include "workbench/PhoneReader.h"
