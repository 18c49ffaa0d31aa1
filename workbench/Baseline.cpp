#include "workbench/Baseline.h"
