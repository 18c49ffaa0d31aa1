#pragma once

#include "platform/kernel/WakeEvent.h"
#include "tessra/serial/FrameCodec.h"
#include "tessra/serial/SerialPort.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tessra {

/// Requests and their answers over a serial device. It never takes the answer to another request for one, however late,
/// damaged or missing answers are: docs/serial-line.md says how. A SerialLine owns it; whoever holds that line calls
/// it.
class SerialExchange {
public:
    using Clock = std::chrono::steady_clock;
    using Bytes = std::vector<std::uint8_t>;
    using Request = std::span<const std::uint8_t>;

    /// A failure of its own: the line gives back what is sent to it.
    static constexpr Status kLineEchoes = com::makeStatus(0x800420FE);

    /// When `wake` has been signalled, an exchange under way calls `interruption`, and ends with its status if that is
    /// a failure. `wake` must outlive this.
    SerialExchange(LineSetup setup, const kernel::WakeEvent& wake, std::function<Status()> interruption)
        : setup_(std::move(setup)), wake_(wake), interruption_(std::move(interruption)) {}

    /// As SerialPort::open; the first exchange on an open device is to be preceded by settle().
    Status open(std::string& problem);
    void close() { port_.close(); }
    bool isOpen() const { return port_.isOpen(); }
    int deviceNumber() const { return port_.number(); }

    /// Where answers to earlier requests may still come, asks the phone something until its answer shows that all of
    /// them have come or are lost. The failures are those of ask().
    Status settle(Clock::time_point deadline);
    /// Sends one request over a settled line and waits for its answer. A damaged answer to a version or mode request or
    /// to the read of an NV item makes it ask a second time. Failures: kResponseTimeout, kWriteFailure (the device does
    /// not take the request), kFramingError and kCheckSequenceError (what came was damaged), kPhoneNotPresent (the
    /// device has left), kLineEchoes, and the interruption's. A write of an item may have reached the phone then.
    Status ask(Request request, Clock::time_point deadline, Bytes& answer);

private:
    /// What has come since a request was sent.
    struct Reception {
        Status damage = com::kOk; ///< of the last damaged frame
        bool pending = false;     ///< bytes have come since the last whole frame: noise, or a frame that goes on
        std::size_t bytes = 0;
        std::uint64_t strayBefore = 0; ///< the decoder's stray bytes up to the last whole frame
    };

    Status sendAndRepeat(Request request, Clock::time_point deadline, bool& repeated, Bytes& answer);
    Status sendOnce(Request request, Clock::time_point deadline, bool mayRepeat, Bytes& answer);
    std::optional<Status> receive(Request request, Clock::time_point deadline, Reception& reception, Bytes& answer);
    std::optional<Status> pauseOnBabble(Clock::time_point deadline, const Reception& reception);
    Status giveUp(const Reception& reception);
    Status whyNotWritten();
    void skipUnasked();

    const LineSetup setup_;
    const kernel::WakeEvent& wake_;
    const std::function<Status()> interruption_;
    SerialPort port_;
    FrameDecoder decoder_;
    bool isSettled_ = false;
    std::uint8_t settlingQuestion_ = 0;       ///< the command that settles the line
    std::optional<std::uint8_t> lateCommand_; ///< the command of which answers may still come on a settled line
    Clock::time_point answeredAt_;            ///< the last answer that was waited for
};

} // namespace tessra
