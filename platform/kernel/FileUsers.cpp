#include "platform/kernel/FileUsers.h"

#include "platform/kernel/Text.h"

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>

namespace kernel {
namespace {

using Who = FileUser::Who;

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

// What makes two names those of one file; a device's nodes are all the same device.
bool isSame(const struct stat& a, const struct stat& b) {
    if (S_ISCHR(a.st_mode) && S_ISCHR(b.st_mode)) {
        return a.st_rdev == b.st_rdev;
    }
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// The numbers that Linux has given to /dev/ptmx and to what stands in /dev/pts.
bool isTerminalMaker(const struct stat& file) {
    return S_ISCHR(file.st_mode) && file.st_rdev == makedev(5, 2);
}
bool isPseudoTerminal(const struct stat& file) {
    return S_ISCHR(file.st_mode) && major(file.st_rdev) >= 136 && major(file.st_rdev) <= 143;
}

// The next entry whose name is a number; nothing at the end.
std::optional<pid_t> nextNumber(DIR* folder) {
    while (const dirent* entry = ::readdir(folder)) { // NOLINT(concurrency-mt-unsafe): each caller has a folder alone
        if (const auto number = wholeNumber<pid_t>(entry->d_name)) {
            return number;
        }
    }
    return std::nullopt;
}

FileUser userWith(pid_t process) {
    if (process == ::getpid()) {
        return {Who::kThisProcess, process, {}};
    }
    return {Who::kOtherProcess, process, programOf(process)};
}

class Search {
public:
    explicit Search(const std::vector<std::filesystem::path>& files) : stats_(files.size()), users_(files.size()) {
        for (std::size_t i = 0; i < files.size(); ++i) {
            if (::stat(files[i].c_str(), &stats_[i]) != 0) {
                stats_[i] = {};
            }
        }
    }

    std::vector<FileUser> run() {
        lookAtLocks();
        lookAtProcesses();
        for (FileUser& user : users_) {
            if (user.who == Who::kNobody && isPartial_) {
                user.who = Who::kNobodySeen;
            }
        }
        return std::move(users_);
    }

private:
    template <class IsIt>
    void take(pid_t process, const IsIt& isIt) {
        for (std::size_t i = 0; i < users_.size(); ++i) {
            FileUser& user = users_[i];
            const bool isOpen = user.who == Who::kNobody || user.who == Who::kThisProcess; // another one says more
            if (stats_[i].st_ino != 0 && isOpen && isIt(stats_[i])) {
                user = userWith(process);
            }
        }
    }

    // "1: FLOCK  ADVISORY  WRITE 4711 00:05:678 0 EOF": the process, the device in hexadecimal, the file's number.
    void lookAtLocks() {
        std::ifstream locks("/proc/locks");
        for (std::string line; std::getline(locks, line);) {
            std::istringstream words(line);
            std::string ordinal;
            std::string kind;
            std::string ignored;
            pid_t process = 0;
            std::string place;
            if (!(words >> ordinal >> kind >> ignored >> ignored >> process >> place) || kind != "FLOCK") {
                continue; // one that waits has an arrow for its kind
            }
            // Who has taken a lock may have ended, and left it to a child.
            if (process > 0 && (::kill(process, 0) == 0 || errno == EPERM)) {
                take(process, [&place](const struct stat& file) {
                    return place == hexDigits(major(file.st_dev), 2) + ":" + hexDigits(minor(file.st_dev), 2) + ":" +
                                        std::to_string(file.st_ino);
                });
            }
        }
    }

    void lookAtProcesses() {
        const Folder processes(::opendir("/proc"));
        if (!processes) {
            isPartial_ = true;
            return;
        }
        while (const auto process = nextNumber(processes.get())) {
            lookAt(*process);
        }
    }

    void lookAt(pid_t process) {
        const Folder files(::opendir(("/proc/" + std::to_string(process) + "/fd").c_str()));
        if (!files) {
            isPartial_ = isPartial_ || errno == EACCES || errno == EPERM;
            return;
        }
        std::vector<struct stat> open;
        while (const auto number = nextNumber(files.get())) {
            struct stat file {};
            if (::fstatat(::dirfd(files.get()), std::to_string(*number).c_str(), &file, 0) == 0) {
                open.push_back(file);
            }
        }
        // Who makes a pseudo-terminal keeps it open, and is the other end of it, not its user.
        const bool isOtherEnd = std::ranges::any_of(open, isTerminalMaker);
        take(process, [&](const struct stat& wanted) {
            return !(isOtherEnd && isPseudoTerminal(wanted)) &&
                   std::ranges::any_of(open, [&wanted](const struct stat& file) { return isSame(wanted, file); });
        });
    }

    std::vector<struct stat> stats_;
    std::vector<FileUser> users_;
    bool isPartial_ = false; ///< there are processes that may not be looked at
};

} // namespace

std::vector<FileUser> usersOf(const std::vector<std::filesystem::path>& files) {
    return Search(files).run();
}

// A program names itself, so the name may have any byte in it.
std::string programOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    std::getline(file, name);
    for (char& c : name) {
        c = c < ' ' || c > '~' ? '?' : c;
    }
    return name;
}

std::string useText(const FileUser& user) {
    switch (user.who) {
    case Who::kNobody:
        return "another program uses it"; // which has gone meanwhile
    case Who::kNobodySeen:
        return "a program of another user uses it";
    case Who::kThisProcess:
        return "this program uses it already";
    case Who::kOtherProcess:
        break;
    }
    const std::string process = "process " + std::to_string(user.process);
    return (user.program.empty() ? process : user.program + " (" + process + ")") + " uses it";
}

std::string useText(const std::filesystem::path& file) {
    return useText(usersOf({file}).front());
}

std::string groupOf(const std::filesystem::path& file) {
    constexpr mode_t kReadAndWrite = S_IRGRP | S_IWGRP;
    struct stat found {};
    std::array<char, 16384> buffer{};
    group entry{};
    group* row = nullptr;
    if (::stat(file.c_str(), &found) != 0 || (found.st_mode & kReadAndWrite) != kReadAndWrite ||
        ::getgrgid_r(found.st_gid, &entry, buffer.data(), buffer.size(), &row) != 0 || row == nullptr) {
        return {};
    }
    return row->gr_name;
}

std::string permissionText(const std::string& group) {
    return group.empty() ? "no group may use it, only its owner" : "only members of the group " + group + " may use it";
}

} // namespace kernel
