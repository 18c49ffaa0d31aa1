#pragma once

#include "platform/kernel/WakeEvent.h"
#include "tessra/serial/FrameCodec.h"
#include "tessra/serial/LineTap.h"
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
    /// a failure. `wake` must outlive this. What goes over the line is told to `tap`, if there is one.
    SerialExchange(LineSetup setup, const kernel::WakeEvent& wake, std::function<Status()> interruption,
                   std::optional<PacketTap> tap)
        : setup_(std::move(setup)), wake_(wake), interruption_(std::move(interruption)), tap_(std::move(tap)) {}

    /// As SerialPort::open.
    Status open(std::string& problem);
    void close();
    bool isOpen() const { return port_.isOpen(); }
    int deviceNumber() const { return port_.number(); }

    /// Sends one request and waits for its answer. Where the answer to an earlier one could be taken for it, the phone
    /// is asked something else first, until that is answered. A damaged answer to a version or mode request or to the
    /// read of an NV item makes it ask a second time. Failures: kResponseTimeout, kWriteFailure (the device does not
    /// take the request), kFramingError and kCheckSequenceError (what came was damaged), kPhoneNotPresent (the device
    /// has left), kLineEchoes, and the interruption's. A write of an item may have reached the phone then.
    Status ask(Request request, Clock::time_point deadline, Bytes& answer);

private:
    /// What tells the answer to one request from that to another: the command code, and the number of an NV item. Where
    /// one of two has no number, the code alone counts.
    struct Key {
        std::uint8_t command = 0;
        std::optional<std::uint16_t> item;

        bool isLike(const Key& other) const {
            return command == other.command && (!item || !other.item || item == other.item);
        }
    };
    /// A request to which answers may still come.
    struct Owed {
        Key key;
        unsigned due = 0; ///< answers that have not come; with none, another would be a double
    };

    /// What has come since a request was sent.
    struct Reception {
        Status damage = com::kOk; ///< of the last damaged frame
        bool pending = false;     ///< bytes have come since the last whole frame: noise, or a frame that goes on
        std::size_t bytes = 0;
        std::uint64_t strayBefore = 0; ///< the decoder's stray bytes up to the last whole frame
    };

    static Key keyOf(std::span<const std::uint8_t> packet);
    static std::optional<Key> keyOfAnswer(std::span<const std::uint8_t> packet);
    Status settle(const Key& next, Clock::time_point deadline);
    std::uint8_t settlingQuestion(const Key& next);
    Status askAsIs(const Key& key, Request request, Clock::time_point deadline, Bytes& answer);
    Status sendOnce(Request request, Clock::time_point deadline, bool mayRepeat, Bytes& answer,
                    std::vector<Key>& afterAnswer);
    std::optional<Status> receive(Request request, Clock::time_point deadline, Reception& reception, Bytes& answer,
                                  std::vector<Key>& afterAnswer);
    std::optional<Status> pauseOnBabble(Clock::time_point deadline, const Reception& reception);
    Status giveUp(const Reception& reception);
    Status whyNotWritten();
    void skipUnasked();
    FrameResult nextFrame(std::span<const std::uint8_t>& bytes);
    void abandonFrame();
    std::vector<Owed>::iterator findOwed(const Key& key);
    bool mayComeLate(std::vector<Owed>::iterator owed) const;
    void recordUnanswered(const Key& key, unsigned sent);
    void recordAnswered(const Key& key, unsigned sent);
    void noteUnasked(const std::optional<Key>& key);

    const LineSetup setup_;
    const kernel::WakeEvent& wake_;
    const std::function<Status()> interruption_;
    SerialPort port_;
    FrameDecoder decoder_;
    LineTap tap_;
    bool isFresh_ = false;         ///< the device was just opened: any answer may come
    bool doubles_ = false;         ///< answers have come twice, or out of order
    std::vector<Owed> owed_;       ///< in the order of the first answer that is due
    Clock::time_point answeredAt_; ///< the last answer that was waited for
};

} // namespace tessra
