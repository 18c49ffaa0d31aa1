#pragma once

#include <string>

/// Prints the storages and streams of a compound file of any kind, a line each with the size of a stream in bytes, in
/// the order in which the container enumerates them. Answers the program's exit status: what can't be opened is named
/// on standard error and passed over. Throws std::runtime_error for a file that can't be opened.
int printTree(const std::string& path);
