#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kernel {

/// A process that has a file.
struct FileUser {
    enum class Who : std::uint8_t {
        kNobody,     ///< nobody was found, among all processes
        kNobodySeen, ///< nobody was found, but not all processes may be looked at
        kThisProcess,
        kOtherProcess,
    };

    Who who = Who::kNobody;
    pid_t process = 0;   ///< of kOtherProcess
    std::string program; ///< its name, cut to 15 bytes; empty where the system does not tell
};

/// Who has each of these files, in their order: a process that has locked it with flock(), whoever's that is, else one
/// that has it open and may be looked at. A device is the same one under all its names; the
/// process at the other end of a pseudo-terminal is no user of it. Opens none of the files. Throws
/// std::bad_alloc at most.
std::vector<FileUser> usersOf(const std::vector<std::filesystem::path>& files);

/// The name of a process' program, cut to 15 bytes, with a question mark for each byte that can't be shown; empty where
/// the system does not tell.
std::string programOf(pid_t process);

/// Why a file can't be had that is in use: "calvane-batch (process 4711) uses it"; "another program uses it", or one
/// "of another user", where nobody was found.
std::string useText(const FileUser& user);
/// The same for one file.
std::string useText(const std::filesystem::path& file);

/// The group whose members may read and write a file, through links; empty where no group may.
std::string groupOf(const std::filesystem::path& file);
/// Who may use a file of this group: "only members of the group dialout may use it".
std::string permissionText(const std::string& group);

} // namespace kernel
