#pragma once

#include "cli/Arguments.h"

#include <string>
#include <vector>

/// Runs the verb on all ports of the arguments at once. Each has a process of its own, as one process asks one phone at
/// a time: this program again, with the `commandLine` that it was given and one of the ports, with its own results and
/// report. What they print comes with the port in front of each line, their progress as one. A signal is passed on to
/// them; who then does not come to its end within two minutes is killed. Answers the status that counts most.
ExitStatus runSideBySide(const Arguments& arguments, const std::vector<std::string>& commandLine);

/// To be called by such a process once it has an Interruption: it ends as interrupted when the one that started it is
/// gone, or has passed on a signal by then.
void followStarter();
