#include "platform/kernel/Process.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace kernel {

namespace {

constexpr std::size_t kLongestComputerName = 15;
constexpr std::size_t kLongestHostName = 255; // POSIX: _POSIX_HOST_NAME_MAX

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

std::filesystem::path programDirectory() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

} // namespace kernel
