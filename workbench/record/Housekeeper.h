#pragma once

#include "workbench/record/HandOver.h"
#include "workbench/record/HistorySettings.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace record {

/// How many sessions wait to be handed over to the shared store, and why the last try failed, or left some out.
struct Waiting {
    std::size_t sessions = 0;
    std::string reason = {}; ///< empty: it did not

    bool operator==(const Waiting&) const = default;
};

/// Does for this computer's store what takes its time, over a connection of its own: removes what is older than the
/// settings say, once, and hands over to the shared store. One thread.
class Housekeeper {
public:
    /// Asked between two steps, each of a moment; false ends the work, to be gone on with.
    using MayGoOn = std::function<bool()>;

    /// One round; hands over `only` these. Throws nothing: a store that can't be used now may be next time, and who
    /// records tells of it.
    Waiting work(const HistorySettings& settings, const MayGoOn& mayGoOn, const OnlyThese& only = {});
    /// When a round is due although nothing has happened: after a failure, with a growing pause.
    std::chrono::steady_clock::time_point nextTry() const { return nextTry_; }
    void postpone();

private:
    static constexpr std::chrono::seconds kShortestPause{5};
    static constexpr std::chrono::seconds kLongestPause{600};

    void prune(const HistorySettings& settings);

    bool hasPruned_ = false;
    std::chrono::seconds pause_{};
    /// The first one not at once: a program may begin with a write.
    std::chrono::steady_clock::time_point nextTry_ = std::chrono::steady_clock::now() + kShortestPause;
};

} // namespace record
