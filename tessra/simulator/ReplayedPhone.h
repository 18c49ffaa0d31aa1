#pragma once

#include "tessra/trace/TraceRecord.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tessra {

/// Answers requests as the phone of a trace did; docs/trace.md says which answer belongs to which request. The owner
/// calls it from one thread at a time.
class ReplayedPhone {
public:
    using Bytes = std::vector<std::uint8_t>;
    using Request = std::span<const std::uint8_t>;

    /// `records` are those of one port.
    explicit ReplayedPhone(std::vector<TraceRecord> records);

    /// What comes over the line for this request, frames and noise; empty where nothing does.
    Bytes answer(Request request);

private:
    using Clock = std::chrono::steady_clock;
    /// A request and what came before the next one.
    struct Exchange {
        TraceRecord request;
        std::vector<TraceRecord> answers;
        bool isUsed = false;
    };

    void addAnswer(TraceRecord&& record);
    void dropInterrupted();
    Exchange* findUnused(Request request);
    Exchange* findQuestion(Request request);
    std::size_t nextCommand(std::size_t from) const;
    void noteReset(Request request);
    static Bytes lineBytes(const Exchange& exchange, Request request);

    std::vector<Exchange> exchanges_;
    std::size_t firstUnused_ = 0;  ///< all before it are used
    std::size_t sectionBegin_ = 0; ///< behind the request that was answered last, questions left out
    Clock::time_point awayUntil_;
};

} // namespace tessra
