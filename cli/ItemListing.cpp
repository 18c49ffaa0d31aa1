#include "cli/ItemListing.h"

#include <algorithm>
#include <iomanip>
#include <ostream>

namespace {

// The longest type name is "SIGNED DWORD", the longest value that of a QWORD.
constexpr int kNumberWidth = 5;
constexpr int kTypeWidth = 12;

} // namespace

void printItems(std::ostream& out, std::span<const NvItem> items) {
    for (const NvItem& item : items) {
        out << std::setw(kNumberWidth) << item.getId() << "  " << item.getName() << "  (" << item.getAccess() << ")\n";
        const auto subItems = item.getSubItems();
        std::size_t valueWidth = 0;
        for (const SubItem& subItem : subItems) {
            valueWidth = std::max(valueWidth, subItem.value.size());
        }
        for (const SubItem& subItem : subItems) {
            out << "       " << std::left << std::setw(kTypeWidth) << subItem.typeName << "  " << std::right
                << std::setw(static_cast<int>(valueWidth)) << subItem.value << (valueWidth == 0 ? "" : "  ")
                << subItem.description << '\n';
        }
    }
}
