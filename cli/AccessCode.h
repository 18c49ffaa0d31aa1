#pragma once

#include "cli/Arguments.h"

#include <string>

/// The service programming code that is sent to the phone first; empty for none. It is that of --spc, which all users
/// of the machine see, or else the first line of the file of --spc-file, which may be a pipe, or else the environment's
/// CALVANE_SPC. Throws a BatchFailure (kFile) for a file that can't be read or does not begin with a line of six
/// digits, so that nothing of another file is sent to a phone.
std::string accessCodeOf(const Arguments& arguments);
