#pragma once

#include "engine/NvItem.h"
#include "workbench/Units.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace workbench {

/// A sub-field that has limits, and what they say of its value.
struct LimitedField {
    enum class State {
        kWithin,
        kLow,
        kHigh,
        kNoNumber, ///< there is no value, or its text is no number
    };

    std::size_t field = 0; ///< its position in the item, from 0
    SubItem subItem;
    const FieldUnit* unit = nullptr; ///< in the units that were asked
    double raw = 0;                  ///< 0 for kNoNumber
    State state = State::kWithin;

    bool isOutside() const { return state == State::kLow || state == State::kHigh; }
};

/// Those sub-fields of the item for which `units`, which outlives them, has limits.
std::vector<LimitedField> limitedFields(const NvItem& item, const Units& units);

/// "7 NV_A [1] gain: 35.2 dBm, high; permitted: -60.0 dBm to 33.5 dBm (raw 352)"
std::string limitText(const NvItem& item, const LimitedField& field);
/// { "id": 7, "name": "NV_A", "field": 1, "description": "gain", "raw": "352", "value": 35.2, "unit": "dBm",
/// "least": -60, "most": 33.5, "state": "high" } on one line; the sub-fields count from 1. "value" is null where there
/// is no number, a limit that is not there as well; the state is "within", "low", "high" or "no number".
std::string limitJson(const NvItem& item, const LimitedField& field);

} // namespace workbench
