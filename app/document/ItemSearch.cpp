#include "app/document/ItemSearch.h"

#include "platform/kernel/Text.h"

#include <algorithm>

namespace {

std::size_t commonPrefix(std::string_view line, std::string_view query) {
    const std::size_t longest = std::min(line.size(), query.size());
    std::size_t length = 0;
    while (length < longest && kernel::upperCase(line[length]) == query[length]) {
        ++length;
    }
    return length;
}

FoundItem findByPrefix(std::span<const NvItem> items, std::string_view query) {
    FoundItem best;
    for (std::size_t i = 1; i <= items.size(); ++i) {
        const std::size_t position = i % items.size();
        const std::size_t length = commonPrefix(itemLine(items[position]), query);
        if (length > best.length) {
            best = {position, length};
        }
    }
    return best;
}

FoundItem findInNames(std::span<const NvItem> items, std::string_view query) {
    std::size_t found = 0;
    std::size_t best = 0;
    for (std::size_t position = 0; position < items.size() && best < query.size(); ++position) {
        const std::string name = items[position].getName();
        while (best < query.size() && name.find(query.substr(0, best + 1)) != std::string::npos) {
            ++best;
            found = position;
        }
    }
    return {found, best};
}

} // namespace

std::string itemLine(const NvItem& item) {
    return std::to_string(item.getId()) + "\t" + item.getName();
}

std::optional<FoundItem> findLongest(std::span<const NvItem> items, std::string_view query) {
    const std::string upperQuery = kernel::upperCase(query);
    FoundItem found = findByPrefix(items, upperQuery);
    if (found.length == 0) {
        found = findInNames(items, upperQuery);
    }
    return found.length == 0 ? std::nullopt : std::optional(found);
}

std::optional<std::size_t> findItem(std::span<const NvItem> items, std::string_view query) {
    const auto found = findLongest(items, query);
    return found ? std::optional(found->position) : std::nullopt;
}

std::optional<std::size_t> findNext(std::span<const NvItem> items, std::string_view query, std::ptrdiff_t from,
                                    bool forward) {
    const std::string upperQuery = kernel::upperCase(query);
    const std::ptrdiff_t count = std::ssize(items);
    if (upperQuery.empty()) {
        return std::nullopt;
    }
    // Without a place of its own a search forward begins before the first item, one backward behind the last.
    std::ptrdiff_t position = from >= 0 && from < count ? from : forward ? -1 : count;
    for (std::ptrdiff_t step = 0; step < count; ++step) {
        position = forward ? (position + 1) % count : (position + count - 1) % count;
        const NvItem& item = items[static_cast<std::size_t>(position)];
        if (commonPrefix(itemLine(item), upperQuery) == upperQuery.size() ||
            item.getName().find(upperQuery) != std::string::npos) {
            return static_cast<std::size_t>(position);
        }
    }
    return std::nullopt;
}
