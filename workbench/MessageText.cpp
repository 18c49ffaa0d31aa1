#include "workbench/MessageText.h"
