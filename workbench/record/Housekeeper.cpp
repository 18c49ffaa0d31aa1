#include "workbench/record/Housekeeper.h"

#include "workbench/record/HandOver.h"
#include "workbench/record/Store.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace record {

Waiting Housekeeper::work(const HistorySettings& settings, const MayGoOn& mayGoOn) {
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
        waiting.sessions = local.pending().size();
        if (waiting.sessions > 0 && mayGoOn()) {
            Store shared(openPostgres(settings.sharedUrl));
            handOver(local, shared, mayGoOn);
            waiting.sessions = local.pending().size();
        }
        pause_ = {};
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
