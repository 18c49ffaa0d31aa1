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

std::optional<std::size_t> findByPrefix(std::span<const NvItem> items, std::string_view query) {
    std::optional<std::size_t> found;
    std::size_t best = 0;
    for (std::size_t i = 1; i <= items.size(); ++i) {
        const std::size_t position = i % items.size();
        const std::size_t length = commonPrefix(itemLine(items[position]), query);
        if (length > best) {
            best = length;
            found = position;
        }
    }
    return found;
}

std::optional<std::size_t> findInNames(std::span<const NvItem> items, std::string_view query) {
    std::optional<std::size_t> found;
    std::size_t best = 0;
    for (std::size_t position = 0; position < items.size() && best < query.size(); ++position) {
        const std::string name = items[position].getName();
        while (best < query.size() && name.find(query.substr(0, best + 1)) != std::string::npos) {
            ++best;
            found = position;
        }
    }
    return found;
}

} // namespace

std::string itemLine(const NvItem& item) {
    return std::to_string(item.getId()) + "\t" + item.getName();
}

std::optional<std::size_t> findItem(std::span<const NvItem> items, std::string_view query) {
    const std::string upperQuery = kernel::upperCase(query);
    const auto found = findByPrefix(items, upperQuery);
    return found ? found : findInNames(items, upperQuery);
}
