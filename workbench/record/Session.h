#pragma once

#include "workbench/PhoneIdentity.h"
#include "workbench/PhoneWork.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The record: what was read from phones and written to them. A session is one read, or one write, of one phone.
namespace record {

using workbench::ItemData;
/// UTC; stores keep milliseconds.
using Time = std::chrono::system_clock::time_point;

/// Milliseconds since 1970, as stores have them.
inline std::int64_t msOf(Time time) {
    return std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
}
/// The same time, or the nearest that a Time can tell.
inline Time timeOf(std::int64_t ms) {
    constexpr auto kFarthest = std::chrono::floor<std::chrono::milliseconds>(Time::duration::max()).count();
    return Time(std::chrono::milliseconds(std::clamp(ms, -kFarthest, kFarthest)));
}

enum class SessionKind { kRead, kWrite, kRestore };

enum class SessionState {
    kBegun,      ///< under way, or nobody knows how it ended
    kComplete,   ///< every item was read, or is verified
    kIncomplete, ///< it came to its end, and items failed
    kCancelled,
    kInterrupted, ///< its program is gone and has not told its end; what it had recorded until then is true
};

enum class ItemState {
    kNotTried,
    kRead,
    kNoValue, ///< the phone says that the item is inactive
    kFailed,  ///< the phone answered another NV status
    kMissing, ///< no whole answer came
    kVerified,
    kRefused,
    kReadBackDifferent,
    kNotKnown, ///< sent, and nobody knows what came of it
};

/// One item of a session.
struct SessionItem {
    std::uint16_t number = 0;
    ItemState state = ItemState::kNotTried;
    std::uint16_t status = 0;            ///< the phone's NV status, where it answered
    std::optional<ItemData> before = {}; ///< of a write: what the phone had, where that is known
    std::optional<ItemData> wanted = {}; ///< of a write: what was sent, or was to be
    std::optional<ItemData> after = {};  ///< what the phone has: the value read, or read back
    std::string reason = {};             ///< of a write, for all but kVerified

    bool operator==(const SessionItem&) const = default;
};

struct Session {
    std::string uuid; ///< made at its begin; the same in every store
    SessionKind kind = SessionKind::kRead;
    SessionState state = SessionState::kBegun;
    Time begun = {};                   ///< by the clock of the station
    std::optional<Time> ended = {};    ///< by the same
    std::optional<Time> received = {}; ///< by the clock of the shared store, once it has the session
    std::string program;               ///< "calvane 1.4.34", "calvane-batch 1.4.34"
    std::string ringPath = {};
    std::string ringSha256 = {};         ///< 64 hexadecimal digits, or empty
    std::string port;                    ///< "COM1", or the path of a device
    workbench::PhoneIdentity phone = {}; ///< one without a serial number goes under model and port
    std::string user;                    ///< who ran the program
    std::string host;
    std::string asked;        ///< what was asked for, as a line for people; never the service programming code
    std::string failure = {}; ///< why it ended before its end
    std::string note = {};    ///< by people, at any time
    std::size_t items = 0;    ///< how many it has; set by the store
    std::size_t changed = 0;  ///< of these, those whose value differs from what was known before; set by the store

    bool operator==(const Session&) const = default;
};

} // namespace record
