#pragma once

#include "cli/ExitStatus.h"
#include "workbench/NumberTexts.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

/// What the verbs of the batch tool have in common: their output, and the words for what they did.

using workbench::counted;
using workbench::joined;
/// The name or path between single quotes, as it is shown on one line.
std::string quoted(const std::string& name);
/// Throws a BatchFailure, once, unless everything printed so far has reached standard output.
void flushOutput();
/// The path, or "standard input" for "-".
std::string inputName(const std::string& path);
/// All of a JSON file, or of standard input for "-", or of a pipe. Throws a BatchFailure with the name and the reason.
std::string readInput(const std::string& path);
/// Writes `content` to the file at `path` as kernel::writeWholeFile() does (a full disk leaves the old one as it was),
/// or to standard output for "-". Throws a BatchFailure with the path and the system's reason.
void writeOutput(const std::filesystem::path& path, const std::string& content);
/// Why an output can't be written, of an error number of kernel::openOutput() or of a write.
std::string outputProblem(int error);
/// The numbers of `wanted` that are not among `found`.
std::vector<std::uint16_t> missingNumbers(const std::vector<std::uint16_t>& wanted,
                                          const std::vector<std::uint16_t>& found);
/// Tells a failure on standard error, in one line behind the program's name, whatever lines the text has.
void tellFailure(const std::string& text);
/// How the failure ends the program.
ExitStatus statusOf(const std::exception& failure);
/// The message about a file with the place in it that was logged meanwhile.
std::string withPlace(const std::string& message);
/// What people are told of a failure: one of a phone with its port, one of a file with the place in it.
std::string textOf(const std::exception& failure, const std::string& port);
/// Tells the failure so, and answers how it ends the program.
ExitStatus report(const std::exception& failure, const std::string& port = "");
