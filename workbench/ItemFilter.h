#pragma once

#include "workbench/ItemQuery.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace workbench {

/// Finds the items of a list that fit a query, fast enough for one at each key stroke: one folded text per item is kept
/// from read to read and made anew for those that have changed. 65,536 items of 16 sub-fields take about 40 MB.
///
/// Items are told by their numbers and bytes: one number stands for one name and one layout as long as this lives. One
/// thread at a time uses it.
class ItemFilter {
public:
    /// To be called when items have changed, or their order.
    void setStale() { next_ = 0; }
    /// Brings the texts up to date, for about `limit` at a time: making all of them takes several frames of a display.
    /// True when they are; otherwise it is to be called again with the same items. Cheap where nothing has changed.
    bool renew(std::span<const NvItem> items, std::chrono::microseconds limit);

    /// The positions of the items that fit and for which `also` holds, ascending; after renew() has answered true.
    /// `also` is asked for fitting items alone; an empty one holds.
    std::vector<std::uint32_t> find(const ItemQuery& query, const std::function<bool(std::size_t)>& also = {}) const;

private:
    struct Entry {
        std::uint16_t number = 0;
        std::uint64_t stamp = 0; ///< of the item's bytes when the text was made; 0 before
        std::string text;
    };

    /// Makes the entries those of `items`, in their order; texts that were made of such numbers stay.
    void arrange(std::span<const NvItem> items);

    std::vector<Entry> entries_;
    std::size_t next_ = 0; ///< the entries from here on may be out of date
};

} // namespace workbench
