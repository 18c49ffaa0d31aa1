#include "app/trace/PacketFilter.h"

#include "platform/kernel/Text.h"
#include "tessra/trace/TraceText.h"

#include <algorithm>

namespace {

// A digit that is alone stands for the upper half of a byte; nothing where there is another character.
std::vector<std::uint8_t> bytesOf(std::string_view digits) {
    std::vector<std::uint8_t> bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        const bool isHalf = at + 1 == digits.size();
        const auto byte = kernel::wholeNumber<std::uint8_t>(digits.substr(at, 2), 16);
        if (!byte) {
            return {};
        }
        bytes.push_back(static_cast<std::uint8_t>(isHalf ? *byte << 4 : *byte));
    }
    return bytes;
}

} // namespace

PacketFilter::PacketFilter(std::string_view line) {
    constexpr std::string_view kStatus = "status=";
    constexpr std::string_view kBytes = "bytes=";
    constexpr std::string_view kDigits = "0123456789";
    for (;;) {
        const std::string_view next = kernel::firstWord(line);
        if (next.empty()) {
            return;
        }
        line = kernel::trimmedFront(line).substr(next.size());
        const std::string word = kernel::lowerCase(next);
        if (word.starts_with(kStatus)) {
            words_.push_back({Kind::kStatus, word.substr(kStatus.size()), {}});
        } else if (word.starts_with(kBytes)) {
            const std::string digits = word.substr(kBytes.size());
            words_.push_back({Kind::kBytes, digits, bytesOf(digits)});
        } else if (word.find_first_not_of(kDigits) == std::string::npos) {
            words_.push_back({Kind::kItem, word, {}});
        } else {
            words_.push_back({word == ">" || word == "<" || word == "!" ? Kind::kWay : Kind::kName, word, {}});
        }
    }
}

bool PacketFilter::fits(const tessra::TraceRecord& record) const {
    if (isEmpty()) {
        return true;
    }
    const tessra::TraceWords words = tessra::wordsOf(record);
    return std::ranges::all_of(words_, [&](const Word& word) { return fits(word, record, words); });
}

bool PacketFilter::fits(const Word& word, const tessra::TraceRecord& record, const tessra::TraceWords& words) {
    switch (word.kind) {
    case Kind::kItem:
        return words.item == word.text;
    case Kind::kStatus:
        return words.status == word.text;
    case Kind::kBytes:
        return hasBytes(record, word);
    case Kind::kWay:
        return tessra::waySign(record.way) == word.text.front();
    case Kind::kName:
        return words.command.find(word.text) != std::string::npos ||
               kernel::lowerCase(record.port).find(word.text) != std::string::npos;
    }
    return false;
}

// Bytes that are blanked out are not known to be anything.
bool PacketFilter::hasBytes(const tessra::TraceRecord& record, const Word& word) {
    if (word.bytes.empty()) {
        return word.text.empty(); // nothing is wanted yet
    }
    const auto end =
        record.bytes.begin() + static_cast<std::ptrdiff_t>(std::min(record.blankFrom, record.bytes.size()));
    const std::uint8_t* const last = &word.bytes.back();
    const unsigned lastMask = word.text.size() % 2 == 0 ? 0xFF : 0xF0;
    const auto isSame = [&](std::uint8_t own, const std::uint8_t& wanted) {
        return (own & (&wanted == last ? lastMask : 0xFF)) == wanted;
    };
    return std::search(record.bytes.begin(), end, word.bytes.begin(), word.bytes.end(), isSame) != end;
}
