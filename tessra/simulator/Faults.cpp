#include "tessra/simulator/Faults.h"

#include "platform/com/ComError.h"
#include "tessra/Interfaces.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <stdexcept>

namespace tessra {
namespace {

constexpr const char* kSource = "Tessra";

// What a call hands out: nothing, an interface, or an object that the client has to ask for the interface.
enum class Gives : std::uint8_t { kNothing, kInterface, kObject };

struct CallRow {
    std::string_view name;
    FaultScope scope;
    Gives gives;
};

// In the order of Call.
constexpr CallRow kCalls[] = {
    {"create_server", FaultScope::kService, Gives::kObject},
    {"set_version", FaultScope::kService, Gives::kNothing},
    {"create_agent", FaultScope::kService, Gives::kObject},
    {"release_agent", FaultScope::kService, Gives::kNothing},
    {"port_collection", FaultScope::kService, Gives::kInterface},
    {"translator", FaultScope::kService, Gives::kInterface},
    {"port_number", FaultScope::kService, Gives::kNothing},
    {"port_by_number", FaultScope::kService, Gives::kInterface},
    {"port_numbers", FaultScope::kService, Gives::kNothing},
    {"create_registry", FaultScope::kService, Gives::kObject},
    {"register_client", FaultScope::kService, Gives::kNothing},
    {"unregister_client", FaultScope::kService, Gives::kNothing},
    {"describe_port", FaultScope::kPort, Gives::kNothing},
    {"describe_phone", FaultScope::kPort, Gives::kNothing},
    {"send", FaultScope::kPort, Gives::kNothing},
    {"mode_change", FaultScope::kPort, Gives::kNothing},
    {"lock", FaultScope::kPort, Gives::kNothing},
    {"unlock", FaultScope::kPort, Gives::kNothing},
    {"mode", FaultScope::kPort, Gives::kNothing},
    {"state", FaultScope::kPort, Gives::kNothing},
    {"sub_object", FaultScope::kPort, Gives::kObject},
    {"security", FaultScope::kPort, Gives::kNothing},
    {"subscribe", FaultScope::kPort, Gives::kNothing},
    {"unsubscribe", FaultScope::kPort, Gives::kNothing},
};
static_assert(std::size(kCalls) == kCallCount);

const CallRow& rowOf(Call call) {
    return kCalls[static_cast<std::size_t>(call)];
}

std::string faultText(Call call) {
    return "A fault was ordered for the call " + std::string(nameOf(call)) + ".";
}

} // namespace

std::optional<Call> callNamed(std::string_view name) {
    const auto row =
        std::find_if(std::begin(kCalls), std::end(kCalls), [&](const CallRow& each) { return each.name == name; });
    return row == std::end(kCalls) ? std::nullopt : std::optional(static_cast<Call>(row - kCalls));
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

com::Status FaultGate::enter(Call call, Fault& fault, std::optional<std::uint16_t> item, std::uint32_t timeoutMs) {
    fault = {};
    std::unique_lock guard(lock_);
    ++counts_[static_cast<std::size_t>(call)];
    const std::uint32_t delayMs = meetRulesLocked(call, item, fault);
    const bool isSilent = fault.kind == FaultKind::kNoAnswer && call != Call::kDescribePhone;
    if (!sleepLocked(guard, delayMs) || (isSilent && !sleepLocked(guard, timeoutMs))) {
        return com::failWith(com::kDisconnected, kSource, "The phone service has ended.");
    }
    switch (fault.kind) {
    case FaultKind::kNoAnswer:
        return isSilent ? com::failWith(kResponseTimeout, kSource, faultText(call)) : com::kOk;
    case FaultKind::kServerCode:
        return com::failWith(com::makeStatus(fault.value), kSource, faultText(call));
    case FaultKind::kBadResponse:
        return com::failWith(kBadPhoneResponse, kSource, faultText(call));
    case FaultKind::kThrowException:
        throw std::runtime_error(faultText(call));
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
std::uint32_t FaultGate::meetRulesLocked(Call call, std::optional<std::uint16_t> item, Fault& fault) {
    std::uint32_t delayMs = 0;
    for (ActiveRule& active : rules_) {
        const FaultRule& rule = active.rule;
        if (rule.call != call || (rule.item && rule.item != item)) {
            continue;
        }
        ++active.calls;
        if (active.calls < rule.firstCall || active.calls > rule.lastCall) {
            continue;
        }
        delayMs += rule.delayMs;
        if (fault.kind == FaultKind::kNone) {
            fault = {rule.kind, rule.value};
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
