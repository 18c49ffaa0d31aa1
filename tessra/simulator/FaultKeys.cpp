#include "tessra/simulator/FaultKeys.h"

#include "tessra/Interfaces.h"

namespace tessra {
namespace {

// Which calls a rule meets: the one numbered "on", those from "from" on, or all.
void readOccasion(ConfigTable& table, FaultRule& rule) {
    constexpr std::int64_t kMaxCalls = 0xFFFFFFFF;
    const auto on = table.integer("on", 1, kMaxCalls);
    const auto from = table.integer("from", 1, kMaxCalls);
    if (on && from) {
        table.fail("a fault has either 'on' or 'from'", "from");
    }
    rule.firstCall = static_cast<std::uint32_t>(on.value_or(from.value_or(1)));
    rule.lastCall = on ? rule.firstCall : rule.lastCall;
}

void readKind(ConfigTable& table, FaultRule& rule) {
    struct Row {
        std::string_view key;
        FaultKind kind;
        std::int64_t max; // of a number; 0: the key is a flag
    };
    constexpr Row kRows[] = {
        {"nv_status", FaultKind::kNvStatus, 0xFFFF},
        {"server_code", FaultKind::kServerCode, 0xFFFFFFFF},
        {"short_answer", FaultKind::kShortAnswer, kMaxPacketBytes},
        {"no_answer", FaultKind::kNoAnswer, 0},
        {"bad_response", FaultKind::kBadResponse, 0},
        {"vanish", FaultKind::kVanish, 0},
        {"throw", FaultKind::kThrowException, 0},
        {"null_object", FaultKind::kNullObject, 0},
        {"wrong_object", FaultKind::kWrongObject, 0},
    };
    for (const Row& row : kRows) {
        const auto number = row.max > 0 ? table.integer(row.key, 0, row.max) : std::nullopt;
        if (!number && (row.max > 0 || !table.flag(row.key, false))) {
            continue;
        }
        if (rule.kind != FaultKind::kNone) {
            table.fail("a fault does one thing; for more, write another", row.key);
        }
        rule.kind = row.kind;
        rule.value = static_cast<std::uint32_t>(number.value_or(0));
    }
}

FaultRule readFault(ConfigTable& table, FaultScope scope) {
    FaultRule rule;
    const std::string name = table.text("call").value_or("");
    const auto call = callNamed(name);
    if (!call) {
        table.fail(name.empty() ? "a fault needs its 'call'" : "there is no call '" + name + "'", "call");
    }
    rule.call = *call;
    if (const auto item = table.integer("item", 0, 0xFFFF)) {
        rule.item = static_cast<std::uint16_t>(*item);
    }
    rule.delayMs = static_cast<std::uint32_t>(table.integer("delay_ms", 0, kMaxConfigMs).value_or(0));
    readOccasion(table, rule);
    readKind(table, rule);
    table.refuseUnknownKeys();
    if (const std::string problem = faultProblem(rule, scope); !problem.empty()) {
        table.fail(problem);
    }
    if (rule.kind == FaultKind::kNone && rule.delayMs == 0) {
        table.fail("a fault needs something to do, such as 'no_answer' or 'delay_ms'");
    }
    return rule;
}

} // namespace

std::vector<FaultRule> readFaults(ConfigTable& table, FaultScope scope) {
    std::vector<FaultRule> rules;
    table.tables("fault", [&](ConfigTable& fault) { rules.push_back(readFault(fault, scope)); });
    return rules;
}

} // namespace tessra
