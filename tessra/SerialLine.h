#pragma once

#include "tessra/FrameCodec.h"
#include "tessra/LineSetup.h"
#include "tessra/PhoneLink.h"
#include "tessra/SerialPort.h"
#include "tessra/WakeEvent.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace tessra {

/// The phone at the end of a serial line.
///
/// One exchange at a time has the line (its turn); the calling thread writes the request and reads the answer itself.
/// Between exchanges a thread of this object, the keeper, has the line now and then: it opens the device, notices that
/// it has left, and asks once in LineSetup::askEveryMs for the phone's mode and version, unless an exchange has just
/// shown that the phone is there. A client that comes meanwhile goes first: the keeper gives up its question. Nobody
/// reads an idle line, so one that babbles costs nothing.
///
/// Which answer belongs to which request. A phone answers in the order of the requests, but an answer may be late,
/// damaged or missing, and one that is late looks like the answer to a later request for the same item. So after a
/// request without answer, the line is unsettled: before the next one goes out, the phone is asked something else (its
/// version, or its mode), and that answer shows that all earlier ones have come or are lost. Answers that may still
/// come on a settled line are all of one command, which is then not used to settle it the next time:
///
///   after                               unsettled_  settler_                   may still come
///   the device was opened               yes         version                    anything
///   a question for version or mode      yes         the same question          anything
///     that failed
///   another request that failed         yes         version; mode where loose  anything
///                                                   answers tell the version
///   settling                            no          -                          answers to the question that settled
///   a request with its answer           no          -                          answers to it, where it was sent twice
///                                                                              or they might come before; else nothing
///
/// Noise. Bytes of no whole frame may be the rest of an answer or precede it. Where a request may be repeated, quietMs
/// of silence after them end the wait and it is repeated, once; for others, and the second time, the wait goes on to
/// its end. A damaged frame is taken for the answer: quietMs of silence after it end the wait.
///
/// A line that echoes (two wires joined, an adapter for a single wire) gives every request back, and a request for an
/// NV item looks like its answer: zeros read, or a write done. Such a line is refused, with or without a phone behind
/// the echo: it has no phone, and kFramingError as its trouble. What shows the echo are the questions for the version
/// and the mode, of one byte, which no phone answers with one byte. So a phone is present only once it has told its
/// mode and answered the other question too, if only by refusing it; and where an answer equals its request later, the
/// phone is asked for its mode before the answer counts. The question lasts until the request's time is over, and
/// answerMs at least: what a phone confirms late is done all the same. Exempt is the agreement to a reset, as the phone
/// may leave before it can tell its mode; the keeper, which watches a reset, asks at once and finds the echo.
///
/// The question costs each write, and each read that finds zeros, 12 bytes more on the wire and one more round trip.
/// Where an adapter holds short packets back, that is nearly another write's time. A recent answer is no reason to go
/// without it, as a line may begin to echo at any moment: until the next question, writes would count as done that
/// never reached the phone.
class SerialLine final : public PhoneLink {
public:
    /// `name` is the port's, for the log.
    SerialLine(std::string name, LineSetup setup, bool present);
    ~SerialLine() override;

    void start(std::function<void()> changed) override;
    void close() override;
    PhoneView look() override;
    void awaitFirstView() override;
    std::optional<std::vector<std::uint8_t>> knownVersion() override;
    /// A damaged answer to a version request or to the read of an NV item makes it ask a second time. Failures beyond
    /// PhoneLink's: kWriteFailure (the device does not take the request), kFramingError (what came was damaged, or the
    /// line echoes) and kCheckSequenceError (what came was damaged); a write of an item may have reached the phone
    /// then, and is never repeated here. kPhoneNotPresent also for a device that leaves meanwhile. An answer that might
    /// be an echo can take LineSetup::answerMs more than `timeoutMs`.
    Status exchange(std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                    std::vector<std::uint8_t>& answer) override;
    void setPresent(bool present) override;

private:
    using Clock = std::chrono::steady_clock;
    using Guard = std::unique_lock<std::mutex>;
    using Bytes = std::vector<std::uint8_t>;
    using Request = std::span<const std::uint8_t>;
    class Turn;
    /// A status of the keeper's questions alone: a client has taken the turn away.
    static constexpr Status kGaveWay = com::makeStatus(0x800420FF);
    /// How long a reset that the phone has agreed to is watched closely.
    static constexpr std::chrono::seconds kResetWatch{10};

    /// What a request has met while it waits for its answer.
    struct Hearing {
        Status damage = com::kOk; ///< of the last damaged frame
        bool pending = false;     ///< bytes have come since the last whole frame: noise, or a frame that goes on
        bool gone = false;        ///< the device has left
        bool echo = false;        ///< the line repeats what is sent
        std::size_t bytes = 0;
        std::uint64_t strayBefore = 0; ///< the decoder's stray bytes up to the last whole frame
    };

    /// With the line's turn.
    Status ask(Request request, Clock::time_point deadline, Bytes& answer);
    Status settle(Clock::time_point deadline);
    Status transact(Request request, Clock::time_point deadline, bool& repeated, Bytes& answer);
    bool hear(Request request, Hearing& hearing, Bytes& answer);
    void drain();
    std::optional<Status> interrupted();
    Status afterWriteFailure();
    void lose();
    void refuseEcho();

    /// The keeper.
    void keep();
    void sleepUntil(Clock::time_point due);
    void openDevice();
    void closeLostDevice();
    void askForPhone();
    void learn(Status status, const Bytes& mode, const Bytes& version);
    void learnAnswersLocked(PhoneMode mode, const Bytes& version);
    bool isNewsLocked(const std::string& problem);
    void report(const std::string& problem) const;
    void tellChanges();

    void noteExchange(Status status, bool isSilence, Request request, const Bytes& answer);
    void noteModeLocked(Request request, const Bytes& answer);
    void showLocked(PhoneState state, PhoneMode mode);
    void missLocked();
    bool isThereLocked() const;
    bool resetIsWatchedLocked() const;

    const std::string name_;
    const LineSetup setup_;
    std::function<void()> changed_; ///< constant once started
    WakeEvent keeperWake_;
    WakeEvent turnWake_; ///< wakes whoever has the turn

    /// Used by whoever has the turn.
    SerialPort port_;
    FrameDecoder decoder_;
    bool unsettled_ = true;
    std::uint8_t settler_ = 0;          ///< the command that settles the line
    std::optional<std::uint8_t> loose_; ///< the command of which answers may still come on a settled line

    Clock::time_point answeredAt_; ///< the last answer that was waited for

    std::mutex lock_; ///< guards all that follows
    std::condition_variable turnFree_;
    std::condition_variable viewKnown_;
    bool closed_ = false;
    bool taken_ = false;       ///< somebody has the turn
    bool keeperAsks_ = false;  ///< and it is the keeper, with a question
    unsigned waiting_ = 0;     ///< clients that wait for the turn
    bool present_;             ///< false: as if the phone were not there
    bool open_ = false;        ///< the device can be used
    bool lost_ = false;        ///< it has left, and is to be closed
    bool known_ = false;       ///< the first question is over
    bool changedView_ = false; ///< and nobody has been told yet
    Status trouble_ = com::kOk;
    PhoneState state_ = PhoneState::kNone;
    PhoneMode mode_ = PhoneMode::kNone;
    std::uint32_t appearance_ = 0;
    Bytes version_;
    unsigned misses_ = 0;          ///< questions without answer since the last answer
    bool sawReset_ = false;        ///< the phone has said that it is about to leave
    Clock::time_point watchUntil_; ///< until then a reset is being watched
    Clock::time_point nextAsk_;
    Clock::time_point lastAskEnd_;
    Clock::time_point lastAnswer_; ///< to a client
    std::string reported_;         ///< the last problem in the log, while it lasts
    std::thread keeper_;
};

} // namespace tessra
