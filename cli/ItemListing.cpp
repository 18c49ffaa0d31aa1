#include "cli/ItemListing.h"

#include "platform/kernel/Text.h"
#include "workbench/ItemJson.h"
#include "workbench/MessageText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iomanip>
#include <ostream>

namespace {

using workbench::shownText;

// The longest type name is "SIGNED DWORD", the longest value that of a QWORD.
constexpr int kNumberWidth = 5;
constexpr int kTypeWidth = 12;
constexpr std::size_t kBytesPerLine = 16;

const char* markOf(std::uint16_t number, const std::set<std::uint16_t>& repeated) {
    return repeated.contains(number) ? "  [more than once]" : "";
}

} // namespace

void printItems(std::ostream& out, std::span<const NvItem> items, const std::set<std::uint16_t>& repeated) {
    for (const NvItem& item : items) {
        out << std::setw(kNumberWidth) << item.getId() << "  " << shownText(item.getName()) << "  ("
            << shownText(item.getAccess()) << ')' << markOf(item.getId(), repeated) << '\n';
        const auto subItems = item.getSubItems();
        std::size_t valueWidth = 0;
        for (const SubItem& subItem : subItems) {
            valueWidth = std::max(valueWidth, subItem.value.size());
        }
        for (std::size_t at = 0; at < subItems.size(); ++at) {
            const SubItem& subItem = subItems[at];
            out << std::setw(kNumberWidth) << "[" + std::to_string(at + 1) + "]"
                << "  " << std::left << std::setw(kTypeWidth) << subItem.typeName << "  " << std::right
                << std::setw(static_cast<int>(valueWidth)) << subItem.value << (valueWidth == 0 ? "" : "  ")
                << shownText(subItem.description) << '\n';
        }
    }
}

std::string layoutsToJson(std::span<const NvItem> items) {
    // One item at a time: the tree of all of them would be large.
    std::string text = "{\n  \"items\": [";
    for (const NvItem& item : items) {
        auto fields = nlohmann::ordered_json::array();
        for (const SubItem& subItem : item.getSubItems()) {
            const std::string_view type = subItemTypeInfo(item.getSubItemTypes()[fields.size()]).displaySpelling;
            fields.push_back({{"field", fields.size() + 1},
                              {"type", type},
                              {"description", workbench::utf8Text(subItem.description)}});
        }
        text += std::string(&item == &items.front() ? "\n    " : ",\n    ") +
                nlohmann::ordered_json{{"id", item.getId()},
                                       {"name", workbench::utf8Text(item.getName())},
                                       {"access", workbench::utf8Text(item.getAccess())},
                                       {"fields", std::move(fields)}}
                    .dump();
    }
    return text + "\n  ]\n}\n";
}

void printItemBytes(std::ostream& out, std::uint16_t number, const std::string& name,
                    std::span<const std::uint8_t> bytes, const std::set<std::uint16_t>& repeated) {
    out << std::setw(kNumberWidth) << number << "  " << (name.empty() ? "(not in the decoder ring)" : shownText(name))
        << markOf(number, repeated);
    for (std::size_t offset = 0; offset < bytes.size(); ++offset) {
        if (offset % kBytesPerLine == 0) {
            out << "\n       " << kernel::hexDigits(offset, 2) << " ";
        }
        out << ' ' << kernel::hexDigits(bytes[offset], 2);
    }
    out << '\n';
}
