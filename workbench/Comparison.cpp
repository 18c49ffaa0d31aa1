#include "workbench/Comparison.h"
