#include "workbench/TypedValues.h"
