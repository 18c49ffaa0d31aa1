#pragma once

#include "platform/kernel/FileDescriptor.h"
#include "platform/kernel/WakeEvent.h"
#include "tessra/serial/FrameCodec.h"
#include "tessra/simulator/PhoneModel.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace tessra {

/// What the line to a simulated phone does wrong. Packets are counted from 1; 0 stands for never.
struct LineFaults {
    double bitErrors = 0;        ///< the probability for each bit, in both directions, to be inverted
    double lostBytes = 0;        ///< the probability for each byte, in both directions, to be lost
    bool sparesRequests = false; ///< these two meet the answers alone
    std::uint64_t seed = 1;
    std::uint32_t delayMs = 0;      ///< before each answer
    std::uint32_t silentFrom = 0;   ///< from this packet on there is no answer
    std::uint32_t garbageBytes = 0; ///< bytes of no frame before each answer and its delay
    std::uint32_t unplugAt = 0;     ///< this packet finds the terminal gone
    std::int32_t backAfterMs = -1;  ///< from then until there is a new terminal; -1: there is none
    std::uint32_t babbleFrom = 0;   ///< from this packet on, bytes without end instead of answers
    double doubledAnswers = 0;      ///< the probability for each answer to come again, before the next one
    bool echoes = false;            ///< what comes goes back at once, as on a line of a single wire
};

/// A phone behind a pseudo-terminal of this machine: frames come in, the model's answers go out. Whoever opens the
/// device finds a serial line. run() is one thread's; the other methods may be called by any.
class PhoneTerminal {
public:
    /// What goes over the line in answer to a packet, frames and all; empty: nothing.
    using Answers = std::function<std::vector<std::uint8_t>(std::span<const std::uint8_t> packet)>;

    /// `phone` must outlive this, and belongs to run() while that runs. `link`, if not empty, is a symbolic link that
    /// leads to the device as long as there is one; it replaces a link to a terminal that an earlier phone has left
    /// there, and nothing else. std::system_error where there is no terminal to be had, or something stands at `link`.
    explicit PhoneTerminal(PhoneModel& phone, std::filesystem::path link = {});
    /// The same with another kind of phone, which withPhone() can't reach.
    explicit PhoneTerminal(Answers answers, std::filesystem::path link = {});
    ~PhoneTerminal();
    PhoneTerminal(const PhoneTerminal&) = delete;
    PhoneTerminal& operator=(const PhoneTerminal&) = delete;

    /// Answers packets until stop().
    void run();
    /// May also be called by a signal handler.
    void stop();

    /// The name of the terminal's device; empty while it is unplugged.
    std::string device() const;
    /// From the next packet on, which counts as the first. What was unplugged or babbled is as before.
    void setFaults(const LineFaults& faults);
    void setPlugged(bool plugged);
    /// Takes and gives bytes at the rate of a line of `baud`: 10 bits a byte, one direction at a time, and no time
    /// between them. The phone answers at once, so that what is missing to the full rate is the client's. 0: at once,
    /// as at the start.
    void setPaced(std::uint32_t baud);
    /// Stops the line from taking what clients write, or lets it go on.
    void setStopped(bool stopped);
    /// Packets that have arrived undamaged.
    std::uint64_t packets() const { return packets_; }
    /// Bytes that have come and gone.
    std::uint64_t bytes() const { return bytes_; }
    /// Does something with the phone between two packets.
    void withPhone(const std::function<void(PhoneModel&)>& action);

private:
    using Bytes = std::vector<std::uint8_t>;
    using Clock = std::chrono::steady_clock;

    void plugLocked();
    void unplugLocked();
    int pollTimeoutLocked() const;
    void serveLocked(std::span<const std::uint8_t> bytes, std::unique_lock<std::mutex>& guard);
    void answerLocked(std::span<const std::uint8_t> packet, std::unique_lock<std::mutex>& guard);
    void babbleLocked();
    std::uint64_t drawDistance(double probability);
    Clock::time_point wireEndLocked(Clock::time_point begin, std::size_t bytes) const;
    void sendLocked(std::span<const std::uint8_t> bytes, std::unique_lock<std::mutex>& guard);
    void putLocked(std::span<const std::uint8_t> bytes);
    Bytes withErrors(std::span<const std::uint8_t> bytes);
    void pauseUntil(Clock::time_point end, std::unique_lock<std::mutex>& guard);

    PhoneModel* phone_ = nullptr;
    const Answers answers_;
    const std::filesystem::path link_;
    kernel::WakeEvent wake_;
    std::atomic<bool> stopped_ = false;
    std::atomic<std::uint64_t> packets_ = 0;
    std::atomic<std::uint64_t> bytes_ = 0;

    mutable std::mutex lock_;       ///< guards all that follows
    kernel::FileDescriptor master_; ///< none while unplugged
    kernel::FileDescriptor slave_;  ///< held, so that the master has no hang-up when a client closes the device
    std::string device_;
    LineFaults faults_;
    std::uint32_t faultPackets_ = 0; ///< packets since the faults were set
    bool babbles_ = false;
    std::optional<Clock::time_point> backAt_;
    std::uint32_t baud_ = 0;       ///< 0: not paced
    Clock::time_point wireFreeAt_; ///< when the bytes so far are over the line, if it is paced
    Bytes doubled_;                ///< the frame that comes again
    std::mt19937_64 random_;
    std::uint64_t bytesToLoss_ = 0; ///< these two count only while there are such faults
    std::uint64_t bitsToError_ = 0;
    FrameDecoder decoder_;
};

} // namespace tessra
