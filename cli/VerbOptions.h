#pragma once

#include "cli/Arguments.h"

namespace CLI {
class App;
}

/// All of the command line, verbs included, as --help tells it.
void describeProgram(CLI::App& program, Arguments& arguments);

/// Adds the verbs to the program, with their options. What the command line says of them goes into `arguments`, which
/// outlives the program.

void describePhoneVerbs(CLI::App& program, Arguments& arguments);
/// Those that can do without a phone.
void describeFileVerbs(CLI::App& program, Arguments& arguments);
/// Those of the record of what was read and written.
void describeHistoryVerbs(CLI::App& program, Arguments& arguments);
