#pragma once

#include <filesystem>
#include <string>

/// The program's configuration: a text file whose first line is the name of the port on which the phone is reached.
/// What follows that line is not read. It is not removed either: the line is written over the file's beginning, so a
/// name longer than before overwrites part of the rest, and of a shorter one the old end remains as further lines.
///
/// Failures of the system are thrown as std::system_error with the system's error number: EINVAL for what is neither a
/// regular file nor a directory (a pipe would keep the program waiting), EFBIG for a file of more than 16 MiB.

inline constexpr const char* kConfigurationFileName = "CalvaneConfig.ini";
inline constexpr const char* kDefaultComPort = "COM1";

/// The port that the file at `path` names, without the line end (line feed, carriage return or both). An empty file
/// names the default port, an empty first line an empty name; any other line is taken as it is, up to 4,096 bytes.
/// Makes the file if there is none, and fails where it could not be written.
std::string readConfiguredComPort(const std::filesystem::path& path);
/// Writes the name and a line feed at the start of the file; makes the file if there is none. A first line that is too
/// long to be taken whole stays as it is, unless the name is another one by now.
void writeConfiguredComPort(const std::filesystem::path& path, const std::string& comPort);

/// The port that a file of the user's names, which must exist and is only read. As it may be any file, its first line
/// must look like a port's name: 64 printable characters of ASCII at most. Otherwise throws std::runtime_error with the
/// path and what is wrong.
std::string readComPortOf(const std::filesystem::path& path);
/// Makes `comPort` the whole content of such a file. Throws std::runtime_error, and the file stays as it is, where the
/// name is none that readComPortOf() would take, and where the file holds more than one such name: whoever opened a
/// calibration file that way must not lose it.
void replaceComPortOf(const std::filesystem::path& path, const std::string& comPort);
