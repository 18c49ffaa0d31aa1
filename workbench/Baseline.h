#pragma once

#include "engine/NvItem.h"
#include "engine/PhoneProperties.h"
#include "workbench/PhoneIdentity.h"
#include "workbench/PhoneWork.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace workbench {

/// Where values come from.
struct PhoneSource {
    PhoneIdentity phone;
    std::string comPort;
    bool isRecorded = false; ///< the record had them, and what the phone has now is another question
};
struct FileSource {
    std::string path;
    std::optional<PhoneProperties> properties; ///< the file's record, where it has one
    std::optional<std::uint16_t> phoneModelId = {};
    std::optional<PhoneSource> read = {}; ///< the read that the values come from, where the file tells of one
};
struct Source {
    std::variant<PhoneSource, FileSource> from;
    std::chrono::system_clock::time_point when;
};

/// The value that an item had when it was last read, or written and read back.
struct BaselineValue {
    ItemData data{};
    std::uint64_t layoutHash = 0;
    std::shared_ptr<const Source> source;
};

/// Whether the item's sub-fields have values. Those of the catalog have none before they are read or typed,
/// nor has one whose first edit is undone.
bool hasValues(const NvItem& item);

/// The last known values of the items of one document, by number. An item that is not in it has never had a value.
class Baseline {
public:
    void set(const NvItem& item, std::shared_ptr<const Source> source);
    void clear() { values_.clear(); }
    /// Null for an item that has never had a value.
    const BaselineValue* find(std::uint16_t number) const;
    /// Whether the item's sub-fields hold other values than the baseline's, which has one. An item that has never had a
    /// value differs once its sub-fields have values, zeros included, or its bytes are not zero.
    bool differs(const NvItem& item) const;
    /// `item` with the value of the baseline; nothing where it has none.
    std::optional<NvItem> itemOf(const NvItem& item) const;

private:
    std::map<std::uint16_t, BaselineValue> values_;
};

} // namespace workbench
