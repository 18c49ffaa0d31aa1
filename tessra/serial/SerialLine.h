#pragma once

#include "platform/kernel/Thread.h"
#include "platform/kernel/WakeEvent.h"
#include "tessra/PhoneLink.h"
#include "tessra/serial/LinePhone.h"
#include "tessra/serial/SerialExchange.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tessra {

/// The phone at the end of a serial line; docs/serial-line.md explains it.
///
/// One at a time holds the line. A client's exchange runs on its caller's thread. In between, a thread of this object,
/// the keeper, opens the device, notices that it has left, and asks once in LineSetup::askEveryMs for the phone's mode
/// and version; it gives way to clients.
class SerialLine final : public PhoneLink {
public:
    /// `name` is the port's, for the log. What goes over the line is told to `tap`, if there is one.
    SerialLine(std::string name, LineSetup setup, std::optional<PacketTap> tap = std::nullopt);
    ~SerialLine() override { close(); }

    void start(std::function<void()> changed) override;
    void open() override;
    void release() override;
    void close() override;
    PhoneView look() override;
    void awaitFirstView() override;
    std::optional<std::vector<std::uint8_t>> knownVersion() override;
    /// Failures beyond PhoneLink's: those of SerialExchange::ask(), and kFramingError for a line that echoes. An answer
    /// that might be an echo can take LineSetup::answerMs more than `timeoutMs`.
    Status exchange(std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                    std::vector<std::uint8_t>& answer) override;

private:
    using Clock = std::chrono::steady_clock;
    using Guard = std::unique_lock<std::mutex>;
    using Bytes = std::vector<std::uint8_t>;
    using Request = std::span<const std::uint8_t>;
    class Hold;
    /// A status of the keeper's questions alone: a client wants the line.
    static constexpr Status kGaveWay = com::makeStatus(0x800420FF);

    Status interruption();
    Status takeOutcome(Status status);
    void refuseEcho();
    void learnFromExchange(Status status, bool isSilence, Request request, const Bytes& answer);

    void keep();
    bool isToCloseLocked() const { return isTaken_ && (lost_ || !wanted_); }
    void closeDevice();
    void openDevice();
    void askForPhone();
    bool isAnswerRecent();
    void learnFromQuestions(Status status, const Bytes& mode, const Bytes& version);
    void tellChange();
    void sleepUntilDue();

    bool isThereLocked() const { return open_ && !lost_ && phone_.isThere(); }
    void knowFirstViewLocked();
    void reportLocked(const std::string& problem);
    std::string placeOf(const std::string& problem) const;

    const std::string name_;
    const LineSetup setup_;
    std::function<void()> changed_; ///< constant once started
    kernel::WakeEvent keeperWake_;
    kernel::WakeEvent holderWake_;
    SerialExchange exchange_;              ///< used by whoever holds the line
    std::optional<kernel::Thread> keeper_; ///< from start() on

    std::mutex lock_; ///< guards all that follows
    std::condition_variable lineFree_;
    std::condition_variable viewKnown_; ///< also: the device was closed
    bool closed_ = false;
    bool wanted_ = false;     ///< between open() and release()
    bool isTaken_ = false;    ///< the keeper opens the device, or has it open
    bool held_ = false;       ///< somebody holds the line
    bool keeperAsks_ = false; ///< and it is the keeper, with a question
    unsigned waiting_ = 0;    ///< clients that wait for the line
    bool open_ = false;       ///< the device can be used
    bool lost_ = false;       ///< it has left, and is to be closed
    bool known_ = false;      ///< the first question is over
    Status trouble_ = com::kOk;
    LinePhone phone_;
    Clock::time_point nextAsk_;
    Clock::time_point lastAskEnd_;
    Clock::time_point lastAnswer_; ///< to a client
    std::string reported_;         ///< the last problem in the log, while it lasts
};

} // namespace tessra
