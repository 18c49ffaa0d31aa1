#include "cli/SetRequest.h"

#include "engine/SubItem.h"
#include "platform/kernel/Text.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

[[noreturn]] void refuse(const std::string& text, const char* what) {
    throw std::invalid_argument("'" + text + "' " + what);
}

/// The values with the hexadecimal ones in decimal. What is no number stays, to be refused with its sub-field.
std::string decimalValues(std::string_view values) {
    std::string text;
    for (;;) {
        const std::string_view piece = values.substr(0, values.find(','));
        const std::string_view word = kernel::trimmed(piece);
        const bool isHex = word.starts_with("0x") || word.starts_with("0X");
        const auto number = isHex ? kernel::wholeNumber<std::uint64_t>(word.substr(2), 16) : std::nullopt;
        text += number ? std::to_string(*number) : std::string(piece);
        if (piece.size() == values.size()) {
            return text;
        }
        text += ',';
        values.remove_prefix(piece.size() + 1);
    }
}

/// `item` is a number or a name, with or without the number of a sub-field in brackets.
SetRequest requestOf(const std::string& item, const std::string& values) {
    SetRequest request;
    std::string_view name = item;
    if (const auto bracket = name.rfind('['); bracket != name.npos && name.ends_with(']')) {
        const auto field = kernel::wholeNumber<std::size_t>(name.substr(bracket + 1, name.size() - bracket - 2));
        if (!field || *field == 0 || *field > items::kItemDataBytes) {
            refuse(item, "names no sub-field: they are numbered from 1, as in 1007[2]");
        }
        request.field = *field - 1;
        name = name.substr(0, bracket);
    }
    if (name.empty()) {
        refuse(item, "names no item");
    }
    if (isDigit(name.front())) {
        request.number = kernel::wholeNumber<std::uint16_t>(name);
        if (!request.number) {
            refuse(item, "is no item number (0 to 65535), and no name begins with a digit");
        }
    }
    request.name = name;
    request.values = decimalValues(values);
    if (request.field && request.values.find(',') != std::string::npos) {
        refuse(item, "is one sub-field and takes one value");
    }
    return request;
}

} // namespace

std::vector<SetRequest> parseSetRequests(const std::vector<std::string>& words) {
    const auto isAssignment = [](const std::string& word) { return word.find('=') != std::string::npos; };
    if (words.size() == 2 && std::ranges::none_of(words, isAssignment)) {
        return {requestOf(words[0], words[1])};
    }
    std::vector<SetRequest> requests;
    for (const std::string& word : words) {
        if (!isAssignment(word)) {
            refuse(word, "is no ITEM=VALUES, such as 1007=5,11,307 or 1007[2]=307");
        }
        requests.push_back(requestOf(word.substr(0, word.find('=')), word.substr(word.find('=') + 1)));
    }
    return requests;
}
