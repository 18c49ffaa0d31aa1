#pragma once

#include "cli/Arguments.h"

/// Does what the arguments ask for, on the phones of the service that it hosts meanwhile. What was asked for goes to
/// standard output; progress, what was refused and what was done before it go to standard error. Answers the program's
/// exit status: 0 for done, 1 where the phone or a file refused.
int runBatch(const Arguments& arguments);
