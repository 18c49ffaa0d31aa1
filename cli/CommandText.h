#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/// What the verbs of the batch tool have in common: exit statuses, and the words for what they did.

inline constexpr int kDone = 0;
inline constexpr int kRefused = 1;

/// "3 items", "1 item".
std::string counted(std::size_t count);
/// "7, 9, 20-30": three or more numbers that follow each other as a range.
std::string joined(const std::vector<std::uint16_t>& numbers);
/// Throws std::runtime_error unless everything printed so far has reached standard output.
void flushOutput();
/// Writes `content` to the file at `path` as kernel::writeWholeFile() does (a full disk leaves the old one as it was),
/// or to standard output for "-". Throws std::runtime_error with the path and the system's reason.
void writeOutput(const std::filesystem::path& path, const std::string& content);
/// The numbers of `wanted` that are not among `found`.
std::vector<std::uint16_t> missingNumbers(const std::vector<std::uint16_t>& wanted,
                                          const std::vector<std::uint16_t>& found);
/// A message of the layers below as a terminal shows it: without bells, carriage returns and closing line feeds.
std::string forTerminal(std::string message);
