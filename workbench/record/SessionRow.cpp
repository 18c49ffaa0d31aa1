#include "workbench/record/SessionRow.h"

namespace record {
namespace {

std::optional<Time> timeIn(const Value& column) {
    if (std::holds_alternative<std::monostate>(column)) {
        return std::nullopt;
    }
    return timeOf(numberIn(column));
}

std::size_t countIn(const Value& column) {
    return static_cast<std::size_t>(std::max(numberIn(column), std::int64_t{0}));
}

} // namespace

Session sessionOf(const Row& row) {
    return {.uuid = textIn(row.at(0)),
            .kind = enumeratorIn(row.at(1), SessionKind::kRestore),
            .state = enumeratorIn(row.at(2), SessionState::kInterrupted),
            .begun = timeOf(numberIn(row.at(3))),
            .ended = timeIn(row.at(4)),
            .received = timeIn(row.at(5)),
            .program = textIn(row.at(6)),
            .ringPath = textIn(row.at(7)),
            .ringSha256 = textIn(row.at(8)),
            .port = textIn(row.at(9)),
            .phone = {.serialNumber = textIn(row.at(11)),
                      .model = textIn(row.at(10)),
                      .softwareVersion = textIn(row.at(12))},
            .user = textIn(row.at(13)),
            .host = textIn(row.at(14)),
            .asked = textIn(row.at(15)),
            .failure = textIn(row.at(16)),
            .note = textIn(row.at(17)),
            .items = countIn(row.at(18)),
            .changed = countIn(row.at(19))};
}

} // namespace record
