#include "workbench/PhoneIdentity.h"
