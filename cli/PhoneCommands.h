#pragma once

#include "cli/Arguments.h"
#include "engine/Calvane.h"

/// The verbs that ask a phone or the ring, and change nothing but the phone's state. Each answers the program's exit
/// status, and throws what the catalog or a file refuses.
int printPorts(Calvane& catalog);
int readPhone(Calvane& catalog, const Arguments& arguments);
int listItems(Calvane& catalog, const Arguments& arguments);
int resetPhone(Calvane& catalog, const Arguments& arguments);
