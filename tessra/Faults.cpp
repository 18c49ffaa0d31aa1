#include "tessra/Faults.h"

#include "tessra/Interfaces.h"
#include "tessra/Refusal.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace tessra {
namespace {

// What a call hands out: nothing, an interface, or an object that the client has to ask for the interface.
enum class Gives : std::uint8_t { kNothing, kInterface, kObject };

struct CallRow {
    Call call;
    std::string_view name;
    FaultScope scope;
    Gives gives;
};

// In the order of Call.
constexpr std::array<CallRow, kCallCount> kCalls{{
    {Call::kCreateServer, "create_server", FaultScope::kService, Gives::kObject},
    {Call::kSetVersion, "set_version", FaultScope::kService, Gives::kNothing},
    {Call::kCreateAgent, "create_agent", FaultScope::kService, Gives::kObject},
    {Call::kReleaseAgent, "release_agent", FaultScope::kService, Gives::kNothing},
    {Call::kPortCollection, "port_collection", FaultScope::kService, Gives::kInterface},
    {Call::kTranslator, "translator", FaultScope::kService, Gives::kInterface},
    {Call::kPortNumber, "port_number", FaultScope::kService, Gives::kNothing},
    {Call::kPortByNumber, "port_by_number", FaultScope::kService, Gives::kInterface},
    {Call::kPortNumbers, "port_numbers", FaultScope::kService, Gives::kNothing},
    {Call::kCreateRegistry, "create_registry", FaultScope::kService, Gives::kObject},
    {Call::kRegisterClient, "register_client", FaultScope::kService, Gives::kNothing},
    {Call::kUnregisterClient, "unregister_client", FaultScope::kService, Gives::kNothing},
    {Call::kDescribePort, "describe_port", FaultScope::kPort, Gives::kNothing},
    {Call::kDescribePhone, "describe_phone", FaultScope::kPort, Gives::kNothing},
    {Call::kSend, "send", FaultScope::kPort, Gives::kNothing},
    {Call::kChangeMode, "mode_change", FaultScope::kPort, Gives::kNothing},
    {Call::kLock, "lock", FaultScope::kPort, Gives::kNothing},
    {Call::kUnlock, "unlock", FaultScope::kPort, Gives::kNothing},
    {Call::kMode, "mode", FaultScope::kPort, Gives::kNothing},
    {Call::kState, "state", FaultScope::kPort, Gives::kNothing},
    {Call::kSubObject, "sub_object", FaultScope::kPort, Gives::kObject},
    {Call::kSecurity, "security", FaultScope::kPort, Gives::kNothing},
    {Call::kSubscribe, "subscribe", FaultScope::kPort, Gives::kNothing},
    {Call::kUnsubscribe, "unsubscribe", FaultScope::kPort, Gives::kNothing},
}};

constexpr bool inOrder() {
    for (std::size_t i = 0; i < kCalls.size(); ++i) {
        if (static_cast<std::size_t>(kCalls[i].call) != i) {
            return false;
        }
    }
    return true;
}
static_assert(inOrder());

const CallRow& rowOf(Call call) {
    return kCalls[static_cast<std::size_t>(call)];
}

std::string struckText(Call call) {
    return "A fault was ordered for the call " + std::string(nameOf(call)) + ".";
}

} // namespace

std::optional<Call> callNamed(std::string_view name) {
    const auto row = std::find_if(kCalls.begin(), kCalls.end(), [&](const CallRow& each) { return each.name == name; });
    return row == kCalls.end() ? std::nullopt : std::optional(row->call);
}

std::string_view nameOf(Call call) {
    return rowOf(call).name;
}

std::string faultProblem(const FaultRule& rule, FaultScope scope) {
    const CallRow& row = rowOf(rule.call);
    const std::string call = "the call '" + std::string(row.name) + "'";
    if (row.scope != scope) {
        return call + (row.scope == FaultScope::kPort ? " belongs to a port" : " belongs to no port");
    }
    if (rule.item && rule.call != Call::kSend) {
        return call + " sends no NV item";
    }
    bool possible = true;
    switch (rule.kind) {
    case FaultKind::kNvStatus:
    case FaultKind::kShortAnswer:
        possible = rule.call == Call::kSend;
        break;
    case FaultKind::kNoAnswer:
    case FaultKind::kBadResponse:
    case FaultKind::kVanish:
        possible = row.scope == FaultScope::kPort;
        break;
    case FaultKind::kNullObject:
        possible = row.gives != Gives::kNothing;
        break;
    case FaultKind::kWrongObject:
        possible = row.gives == Gives::kObject;
        break;
    case FaultKind::kNone:
    case FaultKind::kServerCode:
    case FaultKind::kThrowException:
        break;
    }
    if (!possible) {
        return call + " can't have this fault";
    }
    return rule.firstCall == 0 || rule.lastCall < rule.firstCall ? "calls are counted from 1" : "";
}

FaultGate::FaultGate(FaultScope scope, const std::vector<FaultRule>& rules) : scope_(scope) {
    for (const FaultRule& rule : rules) {
        add(rule);
    }
}

com::Status FaultGate::enter(Call call, Strike& strike, std::optional<std::uint16_t> item, std::uint32_t timeoutMs) {
    strike = {};
    std::unique_lock guard(lock_);
    ++counts_[static_cast<std::size_t>(call)];
    const std::uint32_t delayMs = strikeLocked(call, item, strike);
    const bool isSilent = strike.kind == FaultKind::kNoAnswer && call != Call::kDescribePhone;
    if (!sleepLocked(guard, delayMs) || (isSilent && !sleepLocked(guard, timeoutMs))) {
        return refuse(com::kDisconnected, "The phone service has ended.");
    }
    switch (strike.kind) {
    case FaultKind::kNoAnswer:
        return isSilent ? refuse(kResponseTimeout, struckText(call)) : com::kOk;
    case FaultKind::kServerCode:
        return refuse(com::makeStatus(strike.value), struckText(call));
    case FaultKind::kBadResponse:
        return refuse(kBadPhoneResponse, struckText(call));
    case FaultKind::kThrowException:
        throw std::runtime_error(struckText(call));
    default:
        return com::kOk;
    }
}

void FaultGate::close() {
    const std::lock_guard guard(lock_);
    closed_ = true;
    closing_.notify_all();
}

void FaultGate::add(const FaultRule& rule) {
    if (const std::string problem = faultProblem(rule, scope_); !problem.empty()) {
        throw std::invalid_argument(problem);
    }
    const std::lock_guard guard(lock_);
    rules_.push_back({rule});
}

void FaultGate::clear() {
    const std::lock_guard guard(lock_);
    rules_.clear();
}

std::uint64_t FaultGate::count(Call call) const {
    const std::lock_guard guard(lock_);
    return counts_[static_cast<std::size_t>(call)];
}

// Answers the delay.
std::uint32_t FaultGate::strikeLocked(Call call, std::optional<std::uint16_t> item, Strike& strike) {
    std::uint32_t delayMs = 0;
    for (ActiveRule& active : rules_) {
        const FaultRule& rule = active.rule;
        if (rule.call != call || (rule.item && rule.item != item)) {
            continue;
        }
        ++active.met;
        if (active.met < rule.firstCall || active.met > rule.lastCall) {
            continue;
        }
        delayMs += rule.delayMs;
        if (strike.kind == FaultKind::kNone) {
            strike = {rule.kind, rule.value};
        }
    }
    return delayMs;
}

// False where the service was closed before or meanwhile.
bool FaultGate::sleepLocked(std::unique_lock<std::mutex>& guard, std::uint32_t ms) {
    if (ms > 0) {
        closing_.wait_for(guard, std::chrono::milliseconds(ms), [this] { return closed_; });
    }
    return !closed_;
}

} // namespace tessra
