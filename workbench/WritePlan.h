#pragma once

#include "engine/NvItem.h"
#include "workbench/PhoneIdentity.h"
#include "workbench/PhoneReader.h"
#include "workbench/PhoneWork.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace workbench {

/// Why an item of a plan is not written.
enum class LeftOut {
    kNothing,     ///< it is written
    kNotWritable, ///< its access mark does not allow it
    kNoValue,     ///< it has never had a value: what it holds are zeros of ours
    kUnchanged,   ///< the phone has these bytes already
    kUnticked,    ///< the user does not want it
};

/// An item that somebody wants to write.
struct WantedItem {
    NvItem item;
    bool hasValue = true;
    /// All 128 bytes are meant, as those of a calibration file. Otherwise the phone's bytes behind the sub-fields stay.
    bool bringsAllBytes = false;
};

struct PlanRow {
    NvItem item;         ///< as it will be on the phone: 128 bytes
    ItemReading onPhone; ///< what the phone has now; kNotTried where it was not asked
    bool hasValue = true;
    /// The bytes behind the sub-fields are to be the phone's, and nobody knows them yet: PhoneWriter reads them first.
    bool restIsThePhones = false;
    LeftOut leftOut = LeftOut::kNothing;

    bool isWritten() const { return leftOut == LeftOut::kNothing; }
};

/// What would be written to which phone. A value, without any connection to a phone.
struct WritePlan {
    PhoneIdentity phone;
    std::string comPort;
    std::vector<PlanRow> rows = {}; ///< in the order in which they are written

    std::size_t count(LeftOut leftOut) const;
    /// "3 to be written, 160 equal, 44 without a value left out, 16 read-only left out, 2 not ticked"; parts with 0 are
    /// left out. "nothing to be written" for a plan without rows.
    std::string summary() const;
    /// Ticks a row, or takes the tick away. A row that is not writable stays so. One without a value and one that is
    /// unchanged may be ticked: the user has seen the reason.
    void setTicked(std::size_t row, bool ticked);
};

/// The plan for `wanted`, in that order, given what the phone has; of two items with one number the last counts. An
/// item of which nothing is known on the phone is written; it has zeros behind its sub-fields until then.
WritePlan makePlan(std::vector<WantedItem> wanted, const ReadReport& onPhone);

} // namespace workbench
