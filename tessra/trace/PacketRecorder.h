#pragma once

#include "tessra/trace/TraceRecord.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>

namespace tessra {

/// Records the packets of ports, from their links to whoever keeps them; docs/trace.md. Links and front ends share it;
/// any thread may call it.
class PacketRecorder {
public:
    using Clock = std::chrono::steady_clock;
    using Bytes = std::span<const std::uint8_t>;
    /// Called by any thread, one call at a time, and the thread that has the line waits for it.
    using Sink = std::function<void(TraceRecord&& record)>;

    /// The trace begins now, also where nothing is recorded yet.
    explicit PacketRecorder(Sink sink, bool on = true) : sink_(std::move(sink)), on_(on) {}

    bool isOn() const { return on_.load(std::memory_order_relaxed); }
    void setOn(bool on) { on_.store(on, std::memory_order_relaxed); }
    /// When the trace began.
    std::chrono::system_clock::time_point begin() const { return wallBegin_; }

    /// The bytes from `blankFrom` on do not get into the record.
    void record(const std::string& port, TraceWay way, Bytes bytes, std::size_t blankFrom, Clock::time_point at);

private:
    const Clock::time_point begin_ = Clock::now();
    const std::chrono::system_clock::time_point wallBegin_ = std::chrono::system_clock::now();
    std::mutex lock_;
    Sink sink_; ///< guarded by lock_
    std::atomic<bool> on_;
};

/// One port's way into a recorder, which leaves out the service programming code. The port's link owns it; one thread
/// at a time, the one that has the line, calls it. While nothing is recorded, it only looks for that code.
class PacketTap {
public:
    using Clock = PacketRecorder::Clock;
    using Bytes = PacketRecorder::Bytes;

    PacketTap(std::string port, std::shared_ptr<PacketRecorder> recorder)
        : port_(std::move(port)), recorder_(std::move(recorder)) {}

    /// Whether it is to be told of what comes from the phone; it always is of what goes there.
    bool isListening() const { return recorder_->isOn() || packetsToSafety_ > 0; }

    void sent(Bytes packet, Clock::time_point at) { take(TraceWay::kToPhone, packet, at); }
    void received(Bytes packet, Clock::time_point at) { take(TraceWay::kFromPhone, packet, at); }
    /// Bytes of the line that are no packet. While the answer to the service programming code may be among them, they
    /// are blanked out; else, from what looks like its command code on.
    void damaged(Bytes bytes, Clock::time_point at);

private:
    void take(TraceWay way, Bytes packet, Clock::time_point at);

    const std::string port_;
    const std::shared_ptr<PacketRecorder> recorder_;
    unsigned packetsToSafety_ = 0; ///< so many other answers have to come until no damaged bytes can hold the code
};

} // namespace tessra
