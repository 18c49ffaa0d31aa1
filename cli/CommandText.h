#pragma once

#include "cli/ExitStatus.h"

#include <cstdint>
#include <exception>
#include <filesystem>
#include <string>
#include <vector>

/// What the verbs of the batch tool have in common: their output, and the words for what they did.

/// "3 items", "1 item".
std::string counted(std::size_t count);
/// "7, 9, 20-30": three or more numbers that follow each other as a range.
std::string joined(const std::vector<std::uint16_t>& numbers);
/// Throws a BatchFailure unless everything printed so far has reached standard output.
void flushOutput();
/// Writes `content` to the file at `path` as kernel::writeWholeFile() does (a full disk leaves the old one as it was),
/// or to standard output for "-". Throws a BatchFailure with the path and the system's reason.
void writeOutput(const std::filesystem::path& path, const std::string& content);
/// The numbers of `wanted` that are not among `found`.
std::vector<std::uint16_t> missingNumbers(const std::vector<std::uint16_t>& wanted,
                                          const std::vector<std::uint16_t>& found);
/// Writes a text of many lines to standard error, as workbench::shownMessage() shows it.
void tell(const std::string& text);
/// Tells the failure on standard error in the same way, and answers how it ends the program.
ExitStatus report(const std::exception& failure);
