#include "tessra/Faults.h"

#include "tessra/Interfaces.h"
#include "tessra/Refusal.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace tessra {
namespace {

// What a call hands out: nothing, an interface, or an object that the client has to ask for the interface.
enum class Gives : std::uint8_t { nothing, interface, object };

struct CallRow {
    Call call;
    std::string_view name;
    FaultScope scope;
    Gives gives;
};

// In the order of Call.
constexpr std::array<CallRow, kCallCount> kCalls{{
    {Call::createServer, "create_server", FaultScope::service, Gives::object},
    {Call::setVersion, "set_version", FaultScope::service, Gives::nothing},
    {Call::createAgent, "create_agent", FaultScope::service, Gives::object},
    {Call::releaseAgent, "release_agent", FaultScope::service, Gives::nothing},
    {Call::portCollection, "port_collection", FaultScope::service, Gives::interface},
    {Call::translator, "translator", FaultScope::service, Gives::interface},
    {Call::portNumber, "port_number", FaultScope::service, Gives::nothing},
    {Call::portByNumber, "port_by_number", FaultScope::service, Gives::interface},
    {Call::portNumbers, "port_numbers", FaultScope::service, Gives::nothing},
    {Call::createRegistry, "create_registry", FaultScope::service, Gives::object},
    {Call::registerClient, "register_client", FaultScope::service, Gives::nothing},
    {Call::unregisterClient, "unregister_client", FaultScope::service, Gives::nothing},
    {Call::describePort, "describe_port", FaultScope::port, Gives::nothing},
    {Call::describePhone, "describe_phone", FaultScope::port, Gives::nothing},
    {Call::send, "send", FaultScope::port, Gives::nothing},
    {Call::changeMode, "mode_change", FaultScope::port, Gives::nothing},
    {Call::lock, "lock", FaultScope::port, Gives::nothing},
    {Call::unlock, "unlock", FaultScope::port, Gives::nothing},
    {Call::mode, "mode", FaultScope::port, Gives::nothing},
    {Call::state, "state", FaultScope::port, Gives::nothing},
    {Call::subObject, "sub_object", FaultScope::port, Gives::object},
    {Call::security, "security", FaultScope::port, Gives::nothing},
    {Call::subscribe, "subscribe", FaultScope::port, Gives::nothing},
    {Call::unsubscribe, "unsubscribe", FaultScope::port, Gives::nothing},
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
        return call + (row.scope == FaultScope::port ? " belongs to a port" : " belongs to no port");
    }
    if (rule.item && rule.call != Call::send) {
        return call + " sends no NV item";
    }
    bool possible = true;
    switch (rule.kind) {
    case FaultKind::nvStatus:
    case FaultKind::shortAnswer:
        possible = rule.call == Call::send;
        break;
    case FaultKind::noAnswer:
    case FaultKind::badResponse:
    case FaultKind::vanish:
        possible = row.scope == FaultScope::port;
        break;
    case FaultKind::nullObject:
        possible = row.gives != Gives::nothing;
        break;
    case FaultKind::wrongObject:
        possible = row.gives == Gives::object;
        break;
    case FaultKind::none:
    case FaultKind::serverCode:
    case FaultKind::throwException:
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
    const bool isSilent = strike.kind == FaultKind::noAnswer && call != Call::describePhone;
    if (!sleepLocked(guard, delayMs) || (isSilent && !sleepLocked(guard, timeoutMs))) {
        return refuse(com::kDisconnected, "The phone service has ended.");
    }
    switch (strike.kind) {
    case FaultKind::noAnswer:
        return isSilent ? refuse(kResponseTimeout, struckText(call)) : com::kOk;
    case FaultKind::serverCode:
        return refuse(com::makeStatus(strike.value), struckText(call));
    case FaultKind::badResponse:
        return refuse(kBadPhoneResponse, struckText(call));
    case FaultKind::throwException:
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
        if (strike.kind == FaultKind::none) {
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
