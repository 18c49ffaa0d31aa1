#pragma once

#include "engine/NvItem.h"
#include "workbench/Baseline.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace workbench {

/// Items with their values as they were at one moment, and where they come from: one side of a comparison.
///
/// Nobody changes it any more, so any number of threads and windows may share one.
class ItemSet {
public:
    enum class Origin { kDocument, kLastKnown, kPhone, kCalibrationFile, kJsonFile, kRecord };

    struct About {
        Origin origin = Origin::kDocument;
        std::string label = {};                    ///< short, for people: "This document", "bench.mox"
        std::shared_ptr<const Source> source = {}; ///< where the newest values come from; null where nobody knows
        bool bringsAllBytes = false;               ///< the bytes behind the sub-fields are meant, too
        std::string remark = {};                   ///< what is to be known before one trusts it; empty: nothing
        std::set<std::uint16_t> unknown = {};      ///< the numbers of which nobody knows what is there
    };

    /// Of two items with one number the first counts.
    ItemSet(About about, std::vector<NvItem> items);

    const About& about() const { return about_; }
    /// In ascending order of their numbers.
    std::span<const NvItem> items() const { return items_; }
    /// Null where it lacks the item.
    const NvItem* find(std::uint16_t number) const;

private:
    const About about_;
    std::vector<NvItem> items_;
};

/// The label, with the phone or the file's record and the time where they are known.
std::string longLabel(const ItemSet& set);

/// Why values of the one set are none for the phone of the other, as a sentence: both know their phones, or the files'
/// records have serial numbers, and they are not the same. Empty where nothing says so.
std::string otherPhoneText(const ItemSet& left, const ItemSet& right);

} // namespace workbench
