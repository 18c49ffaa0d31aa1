#include "app/trace/PacketFilter.h"

#include "platform/kernel/Text.h"
#include "tessra/trace/TraceText.h"

#include <algorithm>

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
            words_.push_back({Kind::kStatus, word.substr(kStatus.size())});
        } else if (word.starts_with(kBytes)) {
            words_.push_back({Kind::kBytes, word.substr(kBytes.size())});
        } else if (word.find_first_not_of(kDigits) == std::string::npos) {
            words_.push_back({Kind::kItem, word});
        } else {
            words_.push_back({word == ">" || word == "<" || word == "!" ? Kind::kWay : Kind::kName, word});
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
    case Kind::kBytes: {
        const std::string bytes = tessra::traceBytes(record);
        for (auto at = bytes.find(word.text); at != std::string::npos; at = bytes.find(word.text, at + 1)) {
            if (at % 2 == 0) { // else it begins within a byte
                return true;
            }
        }
        return false;
    }
    case Kind::kWay:
        return tessra::waySign(record.way) == word.text.front();
    case Kind::kName:
        return words.command.find(word.text) != std::string::npos ||
               kernel::lowerCase(record.port).find(word.text) != std::string::npos;
    }
    return false;
}
