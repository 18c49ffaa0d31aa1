#pragma once

#include "cli/Arguments.h"
#include "engine/Calvane.h"

/// Does what the arguments ask for, on the phones of the service that it hosts meanwhile. Results go to standard
/// output; progress, refusals and an account of what was done before them go to standard error. Answers the program's
/// exit status: 0 for done, 1 where the phone or a file refused. Throws where the service or the catalog can't start.
int runBatch(const Arguments& arguments);

/// The verbs. Each answers the program's exit status, and throws what the catalog or a file refuses.
int printPorts(Calvane& catalog);
int readPhone(Calvane& catalog, const Arguments& arguments);
int listItems(Calvane& catalog, const Arguments& arguments);
int resetPhone(Calvane& catalog, const Arguments& arguments);

/// These write to a phone and read back what they wrote: what counts is the value that the phone has then, not the one
/// that it was sent.
int setItem(Calvane& catalog, const Arguments& arguments);
int writePhone(Calvane& catalog, const Arguments& arguments);

int showMox(Calvane& catalog, const Arguments& arguments);
/// Removes all items from the file but those of arguments.itemNumbers; these are not touched. Refuses where nothing
/// would stay.
int pruneMox(const Arguments& arguments);

/// Prints the storages and streams of a compound file of any kind, a line each with the size of a stream in bytes, in
/// the order in which the container enumerates them. Answers the program's exit status: what can't be opened is named
/// on standard error and passed over. Throws std::runtime_error for a file that can't be opened.
int printTree(const std::string& path);
