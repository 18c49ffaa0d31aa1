#include "workbench/PhoneWriter.h"
