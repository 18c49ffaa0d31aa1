#include "workbench/ItemQuery.h"

#include "engine/ValueText.h"
#include "platform/kernel/Text.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>

namespace workbench {

namespace {

// No typed word holds either of them.
constexpr char kTextEnd = '\n';
constexpr char kValueEdge = '\x1f'; ///< before and behind each value, so that a value can be told from a part of one

/// Whether `part`, which is not empty, is in `text`. Positions where its first and last character fit are looked for in
/// blocks, for which the compiler takes vectors.
bool contains(std::string_view text, std::string_view part) {
    constexpr std::size_t kBlock = 32;
    const std::size_t last = part.size() - 1;
    if (text.size() < kBlock + last) {
        return text.find(part) != std::string_view::npos;
    }
    const char firstChar = part.front();
    const char lastChar = part.back();
    const std::size_t end = text.size() - last - kBlock; // the last block overlaps the one before
    for (std::size_t at = 0;; at = std::min(at + kBlock, end)) {
        const char* const block = text.data() + at;
        unsigned char found = 0;
        for (std::size_t i = 0; i < kBlock; ++i) {
            found |= static_cast<unsigned char>((block[i] == firstChar) & (block[i + last] == lastChar));
        }
        for (std::size_t i = 0; found != 0 && i < kBlock; ++i) {
            if (block[i] == firstChar && text.substr(at + i, part.size()) == part) {
                return true;
            }
        }
        if (at == end) {
            return false;
        }
    }
}

std::string edged(std::string_view value) {
    return kValueEdge + std::string(value) + kValueEdge;
}

std::vector<std::string> hexValues(std::string_view digits) {
    const auto number = kernel::wholeNumber<std::uint64_t>(digits, 16);
    if (!number) {
        return {};
    }
    std::vector<std::string> values{edged(std::to_string(*number))};
    if (*number > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
        values.push_back(edged(std::to_string(static_cast<std::int64_t>(*number)))); // as editors show negative ones
    }
    return values;
}

std::vector<std::string> decimalValues(std::string_view digits) {
    if (digits.starts_with('+')) {
        digits.remove_prefix(1);
    }
    if (const auto number = kernel::wholeNumber<std::int64_t>(digits)) {
        return {edged(std::to_string(*number))};
    }
    const auto number = kernel::wholeNumber<std::uint64_t>(digits);
    return number ? std::vector{edged(std::to_string(*number))} : std::vector<std::string>();
}

bool isUnfinished(std::string_view word) {
    return word == "=" || word == "=-" || word == "=+" || word == "=0x";
}

} // namespace

ItemQuery::ItemQuery(std::string_view typed) {
    std::string folded = kernel::lowerCase(typed);
    std::ranges::replace_if(
        folded, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
    for (std::string_view rest = folded;;) {
        const std::string_view word = kernel::firstWord(rest);
        if (word.empty()) {
            break;
        }
        rest.remove_prefix(static_cast<std::size_t>(word.end() - rest.begin()));
        if (!isUnfinished(word)) {
            words_.push_back(wordOf(word));
        }
    }
    const auto length = [](const Word& word) {
        return word.values.empty() ? word.text.size() : word.values.front().size();
    };
    std::ranges::stable_sort(words_, std::ranges::greater(), length);
}

ItemQuery::Word ItemQuery::wordOf(std::string_view typed) {
    const bool isExact = typed.starts_with('=');
    const std::string_view number = typed.substr(isExact ? 1 : 0);
    Word word{std::string(typed), {}};
    if (number.starts_with("0x")) {
        word.values = hexValues(number.substr(2));
    } else if (isExact) {
        word.values = decimalValues(number);
    }
    if (isExact && !word.values.empty()) {
        word.text.clear();
    }
    return word;
}

bool ItemQuery::Word::fits(std::string_view itemText) const {
    return (!text.empty() && contains(itemText, text)) ||
           std::ranges::any_of(values, [&](const std::string& value) { return contains(itemText, value); });
}

bool ItemQuery::fits(std::string_view itemText) const {
    return std::ranges::all_of(words_, [&](const Word& word) { return word.fits(itemText); });
}

bool ItemQuery::fitsField(const SubItem& field) const {
    const std::string text = kernel::lowerCase(field.description) + edged(kernel::trimmed(field.value));
    return std::ranges::any_of(words_, [&](const Word& word) { return word.fits(text); });
}

std::vector<ItemQuery::Part> ItemQuery::partsOf(std::string_view text) const {
    const std::string folded = kernel::lowerCase(text);
    std::vector<Part> found;
    for (const Word& word : words_) {
        for (std::size_t at = 0; !word.text.empty() && (at = folded.find(word.text, at)) != std::string::npos; ++at) {
            found.push_back({at, word.text.size()});
        }
    }
    std::ranges::sort(found, {}, &Part::begin);
    std::vector<Part> parts;
    for (const Part& part : found) {
        if (parts.empty() || part.begin > parts.back().begin + parts.back().size) {
            parts.push_back(part);
        } else {
            parts.back().size = std::max(parts.back().size, part.begin + part.size - parts.back().begin);
        }
    }
    return parts;
}

std::string ItemQuery::textOf(const NvItem& item) {
    std::string text = std::to_string(item.getId()) + '\t' + item.getName();
    std::string values(1, kValueEdge);
    const bool hasValues = item.hasValues();
    std::size_t at = 0;
    const auto types = item.getSubItemTypes();
    const auto fields = item.getSubItems();
    for (std::size_t i = 0; i < fields.size(); ++i) {
        text += kTextEnd;
        text += fields[i].description;
        if (hasValues) {
            values += items::valueText(types[i], item.rawData().data() + at);
            values += kValueEdge;
        }
        at += subItemTypeInfo(types[i]).bytes;
    }
    std::ranges::transform(text, text.begin(), [](char c) { return kernel::lowerCase(c); });
    return text + values;
}

} // namespace workbench
