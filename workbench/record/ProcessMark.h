#pragma once

#include <cstdint>
#include <string>

namespace record {

/// This computer's name, as Session::host has it.
std::string hostName();

/// What tells a process of this computer from all others that it ever runs: numbers of processes are given again.
struct ProcessMark {
    std::int64_t pid = 0;
    std::string start = {}; ///< which start of the computer, and when after it the process began

    bool operator==(const ProcessMark&) const = default;
};

ProcessMark thisProcess();
/// Whether that process lives. One that has ended and whose parent has not asked for it is dead.
bool isAlive(const ProcessMark& mark);

} // namespace record
