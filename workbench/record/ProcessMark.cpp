#include "workbench/record/ProcessMark.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <fstream>
#include <iterator>
#include <sstream>
#include <vector>

namespace record {
namespace {

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// When the process began; empty where there is none that lives.
std::string startOf(std::int64_t pid) {
    const std::string text = contentOf("/proc/" + std::to_string(pid) + "/stat");
    // The program's name stands in parentheses and may hold any; behind it the state is the third field, and the begin
    // in ticks the 22nd.
    const std::size_t name = text.rfind(')');
    if (name == std::string::npos) {
        return {};
    }
    std::istringstream fields(text.substr(name + 1));
    const std::vector<std::string> words{std::istream_iterator<std::string>(fields), {}};
    constexpr std::size_t kState = 0;
    constexpr std::size_t kBegin = 19;
    if (words.size() <= kBegin || words[kState] == "Z" || words[kState] == "X") {
        return {};
    }
    std::string boot = contentOf("/proc/sys/kernel/random/boot_id");
    while (!boot.empty() && boot.back() == '\n') {
        boot.pop_back();
    }
    return boot + " " + words[kBegin];
}

} // namespace

std::string hostName() {
    std::array<char, HOST_NAME_MAX + 1> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

ProcessMark thisProcess() {
    const std::int64_t pid = ::getpid();
    return {.pid = pid, .start = startOf(pid)};
}

bool isAlive(const ProcessMark& mark) {
    const std::string start = startOf(mark.pid);
    return !start.empty() && start == mark.start;
}

} // namespace record
