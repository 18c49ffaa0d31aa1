#pragma once

#include "cli/Arguments.h"

#include <string>

/// The arguments for one of their ports: it stands in place of "{port}" in the names of files. A slash in a port's name
/// becomes an underscore there.
Arguments forPort(Arguments arguments, const std::string& port);

/// Throws a BatchFailure (wrong usage) where several ports would write one file, which is named without "{port}", or
/// would each read what only one of them can: standard input, a pipe.
void refuseSharedFiles(const Arguments& arguments);
