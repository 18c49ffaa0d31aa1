#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

/// The program's configuration: a text file whose first line is the name of the port on which the phone is reached.
/// What follows that line is not read. It is not removed either: the line is written over the file's beginning, so that
/// a longer name than before takes the place of what follows, and of a longer name before it the end stays as further
/// lines.
///
/// Failures of the system are thrown as std::system_error with the system's error number: EINVAL for what is neither a
/// regular file nor a directory (a pipe would keep the program waiting).

inline constexpr const char* kConfigurationFileName = "CalvaneConfig.ini";
inline constexpr const char* kDefaultComPort = "COM1";

/// The port that the file at `path` names, without the line end (line feed, carriage return or both). An empty file
/// names the default port, an empty first line an empty name; any other line is taken as it is, up to 4,096 bytes.
/// Makes the file if there is none.
std::string readConfiguredComPort(const std::filesystem::path& path);

/// Whether `name` looks like a port's: 64 printable characters of ASCII at most.
bool isPortName(std::string_view name);

/// The same from a file that the user has chosen, which must exist and is only read. As it may be any file, its first
/// line must look like a port's name. Otherwise throws std::runtime_error with the path and what is wrong.
std::string readComPortOf(const std::filesystem::path& path);

/// Whether the file at `path` holds such a line and nothing else, so that replacing it destroys nothing.
bool looksLikePortFile(const std::filesystem::path& path);

/// Writes the name and a line feed at the start of the file; makes the file if there is none.
void writeConfiguredComPort(const std::filesystem::path& path, const std::string& comPort);
