#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace kernel {

std::uint32_t processId();

/// This computer's own name, without its domain, cut to the 15 characters that names between machines have room for;
/// in the case in which the system keeps it. Empty when the system gives none.
std::optional<std::string> computerName();

/// Where a program finds its side files; docs/security.md has a table of which stands where.
struct ProgramFolders {
    std::filesystem::path program; ///< of the running program's file, with symbolic links resolved
    std::filesystem::path shipped; ///< what came with the program and is only read
    std::filesystem::path own;     ///< what the program writes, and what the user has put in the place of what came
};

/// The folders of the program whose file stands in `program`, for a user whose environment has these values for
/// XDG_DATA_HOME and HOME (null: none; a path that is not absolute counts as none).
///
/// Installed, which is to say in PREFIX/lib/calvane beside a PREFIX/share/calvane, what was shipped is in the latter.
/// Elsewhere everything stands in the program's folder. The user's folder is the program's where the user may write it,
/// save where it was installed below /usr or /opt, which is not for users, whoever they are: calvane in the folder of
/// the user's data then. Without such a folder it is the program's, too.
ProgramFolders programFoldersOf(const std::filesystem::path& program, const char* dataHome, const char* home);

/// Those of the running program. They do not depend on the current directory. Throws
/// std::filesystem::filesystem_error when the system does not tell where the program is.
ProgramFolders programFolders();

/// programFolders().own.
std::filesystem::path programDirectory();

} // namespace kernel
