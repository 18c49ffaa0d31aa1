#pragma once

#include "cli/Arguments.h"

#include <vector>

/// Throws a BatchFailure (wrong usage) where what the arguments want written would fall on what is read: the files of
/// the command line, the ports' devices and their phones' memories. So it does where two results would have one file
/// or standard output, and where two inputs would be one pipe or standard input.
/// Compared are the files themselves, whatever their names; one that is not there yet by its folder and name.
/// Standard output and standard error count where they go to a file. To be called before anything is opened to be
/// written: a log that is appended to, a report of what failed.
void refuseFilesOfTwoUses(const Arguments& arguments);
/// Likewise for ports side by side, whose results may not fall on each other's files either.
void refuseFilesOfTwoUses(const std::vector<Arguments>& ports);
