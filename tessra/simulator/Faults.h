#pragma once

#include "platform/com/Status.h"

#include <array>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Misbehaviour that the service can be told to show, for tests of its clients and for trials: rules say which call of
/// a client meets what. A rule stands with a port, or with the service for the calls of the objects above the ports.
/// FaultyObjects.h and FaultyLink.h wrap the service so that its clients' calls pass the rules.
namespace tessra {

/// The calls of clients that can be told to fail. Faults.cpp has their names in the configuration.
enum class Call : std::uint8_t {
    /// with the service
    kCreateServer,
    kSetVersion,
    kCreateAgent,
    kReleaseAgent,
    kPortCollection,
    kTranslator,
    kPortNumber,
    kPortByNumber,
    kPortNumbers,
    kCreateRegistry,
    kRegisterClient,
    kUnregisterClient,
    /// with a port
    kDescribePort,
    kDescribePhone,
    kSend,
    kChangeMode,
    kLock,
    kUnlock,
    kMode,
    kState,
    kSubObject,
    kSecurity,
    kSubscribe,
    kUnsubscribe,
};
inline constexpr std::size_t kCallCount = 24;

enum class FaultKind : std::uint8_t {
    kNone,           ///< nothing but the rule's delay
    kNoAnswer,       ///< waits out the call's time-out (0 for calls that have none), then kResponseTimeout; for
                     ///< Call::kDescribePhone: the description of a phone that has never answered
    kNvStatus,       ///< the phone refuses the NV item with status `value`; a write does not reach its memory
    kServerCode,     ///< fails with the 32-bit code `value`
    kBadResponse,    ///< kBadPhoneResponse
    kShortAnswer,    ///< the answer is cut to `value` bytes
    kVanish,         ///< the phone is gone from this call on
    kThrowException, ///< a C++ exception leaves the object
    kNullObject,     ///< success, but no object
    kWrongObject, ///< success, but an object without the interface that the client needs (where it has to ask for it)
};

struct FaultRule {
    Call call = Call::kSend;
    std::optional<std::uint16_t> item = std::nullopt; ///< only packets that read or write this NV item
    std::uint32_t firstCall = 1; ///< of the calls that the rule would meet, counted from 1 when it was added
    std::uint32_t lastCall = 0xFFFFFFFF;
    std::uint32_t delayMs = 0; ///< before anything else
    FaultKind kind = FaultKind::kNone;
    std::uint32_t value = 0;
};

enum class FaultScope : std::uint8_t { kService, kPort };

std::optional<Call> callNamed(std::string_view name);
std::string_view nameOf(Call call);
/// What is wrong with a rule that stands in `scope` (a kind that its call can't have, and the like); empty: nothing.
std::string faultProblem(const FaultRule& rule, FaultScope scope);

/// What the rules leave to do to a call that goes on; FaultGate::enter() has done the rest.
struct Fault {
    FaultKind kind = FaultKind::kNone;
    std::uint32_t value = 0;
};

/// Where each call of a client passes: counts it, and lets it suffer its faults. Any thread may call any method.
class FaultGate {
public:
    explicit FaultGate(FaultScope scope, const std::vector<FaultRule>& rules = {});

    /// Delays, waits (up to `timeoutMs` where there is no answer), fails or throws as the rules say; the first rule
    /// that meets the call decides, save that all delays add up. com::kDisconnected once closed, also out of a delay.
    com::Status enter(Call call, Fault& fault, std::optional<std::uint16_t> item = std::nullopt,
                      std::uint32_t timeoutMs = 0);
    void close();

    /// std::invalid_argument for a rule with a faultProblem().
    void add(const FaultRule& rule);
    void clear();
    /// How often `call` was made, with or without faults.
    std::uint64_t count(Call call) const;

private:
    struct ActiveRule {
        FaultRule rule;
        std::uint32_t calls = 0; ///< that it would meet
    };

    std::uint32_t meetRulesLocked(Call call, std::optional<std::uint16_t> item, Fault& fault);
    bool sleepLocked(std::unique_lock<std::mutex>& guard, std::uint32_t ms);

    const FaultScope scope_;
    mutable std::mutex lock_; ///< guards all that follows
    std::condition_variable closing_;
    bool closed_ = false;
    std::vector<ActiveRule> rules_;
    std::array<std::uint64_t, kCallCount> counts_{};
};

} // namespace tessra
