#pragma once

#include "engine/NvItem.h"
#include "workbench/record/Session.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

class Calvane;

namespace record {

/// Which values of a session are meant. A read has only those that it found, which are those after it.
enum class Which { kBefore, kAfter };

/// The value that the phone had of an item; nothing where nobody knows. After a session the phone has what it had
/// before of an item that was not sent, or that it refused.
std::optional<ItemData> valueOf(const SessionItem& item, Which which);

/// An item that can't be had, or not be written back.
struct LeftBehind {
    std::uint16_t number = 0;
    std::string name;
    std::string reason; ///< "read-only", "not in the ring", "no value was known", "set to the time of the write"
};

struct SessionSet {
    std::vector<NvItem> items; ///< with the layouts of the catalog, one that the ring lacks as a "No Name" item
    std::vector<LeftBehind> left;
};

/// The items of a session with their values, by ascending number: for a document, a comparison or a file.
SessionSet itemsOf(std::span<const SessionItem> items, Which which, Calvane& catalog);

/// What it takes to put these values back on a phone: writable items alone, in the order in which the catalog writes
/// them, which is that of their numbers, and why the others stay behind. The loaded date is left behind, too, where
/// `withDate` is false: a write stamps it.
SessionSet restorationOf(std::span<const SessionItem> items, Which which, Calvane& catalog, bool withDate);

} // namespace record
