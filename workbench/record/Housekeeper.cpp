#include "workbench/record/Housekeeper.h"

#include "workbench/record/Store.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace record {
namespace {

/// "2 can't be handed over: ..."; empty for none. Of many the first tell enough.
std::string skippedText(const std::vector<std::string>& skipped) {
    constexpr std::size_t kMostTold = 3;
    if (skipped.empty()) {
        return {};
    }
    std::string text = std::to_string(skipped.size()) + " can't be handed over: " + skipped.front();
    for (std::size_t at = 1; at < std::min(skipped.size(), kMostTold); ++at) {
        text += "; " + skipped[at];
    }
    return text + (skipped.size() > kMostTold ? "; ..." : "");
}

} // namespace

Waiting Housekeeper::work(const HistorySettings& settings, const MayGoOn& mayGoOn, const OnlyThese& only) {
    nextTry_ = std::chrono::steady_clock::now() + kLongestPause;
    Waiting waiting;
    std::error_code ignored;
    const bool hasWork = !settings.sharedUrl.empty() || (settings.keep && !hasPruned_);
    if (!settings.isOn || !hasWork || !std::filesystem::exists(settings.file, ignored)) {
        return waiting;
    }
    try {
        prune(settings);
        if (settings.sharedUrl.empty()) {
            return waiting;
        }
        Store local(openSqlite(settings.file.string()));
        waiting.sessions = pendingIn(local, only).size();
        if (waiting.sessions > 0 && mayGoOn()) {
            Store shared(openPostgres(settings.sharedUrl));
            waiting.reason = skippedText(handOver(local, shared, mayGoOn, only).skipped);
            waiting.sessions = pendingIn(local, only).size();
        }
        if (waiting.reason.empty()) {
            pause_ = {};
        } else {
            postpone();
        }
    } catch (const std::exception& failure) {
        waiting.reason = failure.what();
        postpone();
    }
    return waiting;
}

void Housekeeper::postpone() {
    pause_ = std::clamp(pause_ * 2, kShortestPause, kLongestPause);
    nextTry_ = std::chrono::steady_clock::now() + pause_;
}

void Housekeeper::prune(const HistorySettings& settings) {
    if (settings.keep && !std::exchange(hasPruned_, true)) {
        Store local(openSqlite(settings.file.string()));
        local.prune(std::chrono::system_clock::now() - *settings.keep, !settings.sharedUrl.empty());
    }
}

} // namespace record
