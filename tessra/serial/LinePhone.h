#pragma once

#include "tessra/Interfaces.h"

#include <chrono>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace tessra {

/// What is known of the phone at the end of a serial line, drawn from its answers and its silences. A SerialLine owns
/// it and guards it.
class LinePhone {
public:
    using Clock = std::chrono::steady_clock;
    using Bytes = std::vector<std::uint8_t>;

    PhoneState state() const { return state_; }
    PhoneMode mode() const { return mode_; }
    std::uint32_t appearance() const { return appearance_; }
    /// Its version answer; empty where it tells none.
    const Bytes& version() const { return version_; }
    bool isThere() const { return state_ == PhoneState::kPresent || state_ == PhoneState::kLeaving; }
    /// It may leave or come back at any moment, and is to be asked often.
    bool resetIsWatched() const;

    /// There is a line, but no phone is known on it (kSearching), or there is no line (kNone).
    void forget(PhoneState state) { show(state, PhoneMode::kNone); }
    /// It has answered the questions for its mode and its version; false, and a miss, where what answered is no phone.
    bool learn(const Bytes& modeAnswer, const Bytes& versionAnswer);
    /// It has answered a client's request. True where it has agreed to a reset.
    bool learnFromExchange(std::span<const std::uint8_t> request, const Bytes& answer);
    /// It has not answered, for long enough to count. It is gone when it has missed two requests in a row.
    void miss();
    /// Whether the state or the mode has changed, or another phone has come, since the last takeChange().
    bool hasChanged() const { return hasChanged_; }
    bool takeChange() { return std::exchange(hasChanged_, false); }

private:
    void show(PhoneState state, PhoneMode mode);
    void watchReset();

    PhoneState state_ = PhoneState::kNone;
    PhoneMode mode_ = PhoneMode::kNone;
    std::uint32_t appearance_ = 0;
    Bytes version_;
    unsigned misses_ = 0;          ///< since its last answer
    bool saysReset_ = false;       ///< its mode told that it is about to leave
    Clock::time_point watchUntil_; ///< of a reset
    bool hasChanged_ = false;
};

} // namespace tessra
