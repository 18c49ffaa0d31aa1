#include "workbench/ItemListFile.h"

#include "platform/kernel/RegularFile.h"
#include "platform/kernel/Text.h"
#include "platform/kernel/WholeFile.h"
#include "workbench/MessageText.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace workbench {

namespace {

/// 65,536 lines with long names stay below this.
constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20;
constexpr std::size_t kMaxShownBytes = 40;

[[noreturn]] void refuse(std::size_t line, const std::string& why) {
    throw std::runtime_error("line " + std::to_string(line) + ": " + why);
}

ItemList::Entry parseLine(std::string_view text, std::size_t line) {
    const std::string_view word = kernel::firstWord(text);
    const auto number = kernel::wholeNumber<std::uint16_t>(word);
    if (!number) {
        refuse(line, "'" + shownText(kernel::shortened(word, kMaxShownBytes)) + "' is no item number (0 to 65535)");
    }
    const std::string_view name = kernel::trimmed(text.substr(word.size()));
    return {*number, std::string(name), line};
}

} // namespace

std::vector<std::uint16_t> ItemList::numbers() const {
    std::vector<std::uint16_t> numbers;
    for (const Entry& entry : entries) {
        numbers.push_back(entry.number);
    }
    std::ranges::sort(numbers);
    return numbers;
}

ItemList parseItemList(std::string_view text) {
    text = kernel::withoutByteOrderMark(text);
    ItemList list;
    std::vector<std::size_t> lineOf(std::size_t{UINT16_MAX} + 1);
    for (std::size_t line = 1; !text.empty(); ++line) {
        const std::size_t end = text.find('\n');
        const std::string_view content = kernel::trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (content.empty() || content.starts_with('#')) {
            continue;
        }
        ItemList::Entry entry = parseLine(content, line);
        if (lineOf[entry.number] != 0) {
            refuse(line, "item " + std::to_string(entry.number) + " stands in line " +
                             std::to_string(lineOf[entry.number]) + " already");
        }
        lineOf[entry.number] = line;
        list.entries.push_back(std::move(entry));
    }
    return list;
}

std::string itemListText(std::span<const NvItem> items) {
    std::string text = "# NV items of a list: number, name\n";
    for (const NvItem& item : items) {
        text += std::to_string(item.getId()) + " " + item.getName() + "\n";
    }
    return text;
}

ItemList loadItemList(const std::filesystem::path& path) {
    const auto fail = [&](const std::string& why) {
        throw std::runtime_error("Can't read the list '" + path.string() + "': " + why);
    };
    std::string text;
    if (const int error = kernel::readRegularFile(path, kMaxFileBytes, text); error != 0) {
        fail(error == EINVAL ? "it is no regular file" : std::generic_category().message(error));
    }
    ItemList list;
    try {
        list = parseItemList(text);
    } catch (const std::runtime_error& failure) {
        fail(failure.what());
    }
    if (list.entries.empty()) {
        fail("it names no item");
    }
    return list;
}

void writeItemList(const std::filesystem::path& path, std::span<const NvItem> items) {
    const kernel::WholeFileResult result = kernel::writeWholeFile(path, itemListText(items));
    if (!result.succeeded()) {
        throw std::runtime_error("Can't write the list '" + path.string() +
                                 "': " + std::generic_category().message(result.error()));
    }
}

std::vector<std::string> doubtsOf(const ItemList& list, std::span<const NvItem> ring) {
    std::vector<std::string> doubts;
    for (const ItemList::Entry& entry : list.entries) {
        const auto found = std::ranges::lower_bound(ring, entry.number, {}, &NvItem::getId);
        std::string doubt = "Line " + std::to_string(entry.line) + ": item " + std::to_string(entry.number) + " is ";
        if (found == ring.end() || found->getId() != entry.number) {
            doubts.push_back(doubt.append("not in the decoder ring."));
        } else if (const std::string name = found->getName(); !entry.name.empty() && entry.name != name) {
            doubts.push_back(doubt.append(name)
                                 .append(" in the decoder ring, not ")
                                 .append(withinBounds(shownText(entry.name), {200, 1}))
                                 .append("."));
        }
    }
    return doubts;
}

} // namespace workbench
