#include "platform/kernel/Process.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>

namespace kernel {

namespace {

constexpr std::size_t kLongestComputerName = 15;
constexpr std::size_t kLongestHostName = 255; // POSIX: _POSIX_HOST_NAME_MAX
constexpr const char* kFolderName = "calvane";

std::filesystem::path absoluteOf(const char* text) {
    std::filesystem::path path = text == nullptr ? "" : text;
    return path.is_absolute() ? path : std::filesystem::path();
}

bool isOfTheSystem(const std::filesystem::path& folder) {
    return folder.string().starts_with("/usr/") || folder.string().starts_with("/opt/");
}

} // namespace

std::uint32_t processId() {
    return static_cast<std::uint32_t>(::getpid());
}

std::optional<std::string> computerName() {
    std::array<char, kLongestHostName + 1> buffer{};
    // One byte is kept back: POSIX does not promise the terminator when the name is cut.
    if (::gethostname(buffer.data(), buffer.size() - 1) != 0) {
        return std::nullopt;
    }
    std::string name(buffer.data());
    name.resize(std::min({name.size(), name.find('.'), kLongestComputerName}));
    if (name.empty()) {
        return std::nullopt;
    }
    return name;
}

ProgramFolders programFoldersOf(const std::filesystem::path& program, const char* dataHome, const char* home) {
    ProgramFolders folders{.program = program, .shipped = program, .own = program};
    std::error_code ignored;
    const std::filesystem::path shared = program.parent_path().parent_path() / "share" / kFolderName;
    const bool isInstalled = program.filename() == kFolderName && program.parent_path().filename() == "lib" &&
                             std::filesystem::is_directory(shared, ignored);
    if (isInstalled) {
        folders.shipped = shared;
    }
    if (!(isInstalled && isOfTheSystem(program)) && ::access(program.c_str(), W_OK) == 0) {
        return folders;
    }
    std::filesystem::path data = absoluteOf(dataHome);
    if (const auto user = absoluteOf(home); data.empty() && !user.empty()) {
        data = user / ".local" / "share";
    }
    if (!data.empty()) {
        folders.own = data / kFolderName;
    }
    return folders;
}

ProgramFolders programFolders() {
    const char* home = std::getenv("HOME"); // NOLINT(concurrency-mt-unsafe): nobody changes the environment
    if (home == nullptr) {
        const passwd* user = ::getpwuid(::getuid()); // NOLINT(concurrency-mt-unsafe): asked here alone
        home = user == nullptr ? nullptr : user->pw_dir;
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
    return programFoldersOf(std::filesystem::read_symlink("/proc/self/exe").parent_path(), std::getenv("XDG_DATA_HOME"),
                            home);
}

std::filesystem::path programDirectory() {
    return programFolders().own;
}

} // namespace kernel
