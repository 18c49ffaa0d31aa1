#include "workbench/WritePlan.h"
