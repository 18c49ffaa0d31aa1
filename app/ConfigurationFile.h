#pragma once

#include <filesystem>
#include <string>
#include <system_error>

/// The program's configuration: a text file whose first line is the name of the port on which the phone is reached.
/// What follows that line is nobody's business and is neither read nor removed.
///
/// Failures of the system are thrown as std::system_error with the system's error number.

inline constexpr const char* kConfigurationFileName = "CalvaneConfig.ini";
inline constexpr const char* kDefaultComPort = "COM1";

/// The port that the file at `path` names, without the line end (line feed, carriage return or both). An empty file
/// names the default port, an empty first line an empty name. Makes the file if there is none.
std::string readConfiguredComPort(const std::filesystem::path& path);

/// The same from a file that the user has chosen, which must exist and is only read.
std::string readComPortOf(const std::filesystem::path& path);

/// Whether the file at `path` may be one of these: a short text. A file that holds anything else is not to be written.
bool looksLikePortFile(const std::filesystem::path& path);

/// Writes the name and a line feed at the start of the file; makes the file if there is none.
void writeConfiguredComPort(const std::filesystem::path& path, const std::string& comPort);
