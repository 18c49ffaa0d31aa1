#include "workbench/MessageText.h"

#include "platform/kernel/Text.h"

#include <algorithm>

namespace workbench {

namespace {

bool beginsCharacter(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

std::string noteOf(std::size_t count, const char* what) {
    return "[" + std::to_string(count) + " " + what + " left out]";
}

void appendLine(std::string& text, std::string_view line, std::size_t most) {
    const auto characters = static_cast<std::size_t>(std::ranges::count_if(line, beginsCharacter));
    if (line.size() <= most || characters <= most) {
        text += line;
        return;
    }
    const std::size_t half = most / 2;
    const auto offsetOf = [line](std::size_t character) {
        std::size_t at = 0;
        for (; at < line.size() && (character > 0 || !beginsCharacter(line[at])); ++at) {
            character -= beginsCharacter(line[at]) ? 1 : 0;
        }
        return at;
    };
    text += line.substr(0, offsetOf(half));
    text += noteOf(characters - 2 * half, "characters");
    text += line.substr(offsetOf(characters - half));
}

bool isNamePart(char character) {
    const char lower = kernel::lowerCase(character);
    return (lower >= 'a' && lower <= 'z') || (character >= '0' && character <= '9') || character == '_' ||
           character == '~' || character == ':';
}

/// How long the function at the front of `text` is, with its arguments and the dash behind it; 0 for none.
std::size_t functionLength(std::string_view text) {
    constexpr std::string_view kDash = " - ";
    const auto name = static_cast<std::size_t>(std::ranges::find_if_not(text, isNamePart) - text.begin());
    const std::size_t scope = text.substr(0, name).find("::");
    if (scope == std::string_view::npos || scope == 0) {
        return 0;
    }
    const bool hasArguments = text.substr(name).starts_with('(');
    const std::size_t end = hasArguments ? text.find(')', name) : name - 1;
    const bool isEnd = end != std::string_view::npos && text.substr(end + 1).starts_with(kDash);
    return isEnd ? end + 1 + kDash.size() : 0;
}

} // namespace

std::string withoutFunctions(std::string_view message) {
    std::string text;
    bool isStart = true; // of a word
    while (!message.empty()) {
        const std::size_t length = isStart ? functionLength(message) : 0;
        if (length == 0) {
            text += message.front();
            isStart = kernel::isWhiteSpace(message.front());
        }
        message.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return text;
}

std::string shownMessage(std::string_view message, std::string_view path, std::string_view reason) {
    std::string shown;
    constexpr std::string_view kPathMark = "%1";
    while (!path.empty()) {
        const auto mark = message.find(kPathMark);
        if (mark == std::string_view::npos) {
            break;
        }
        shown += kernel::shownLines(message.substr(0, mark));
        shown += shownText(path);
        message.remove_prefix(mark + kPathMark.size());
    }
    shown += kernel::shownLines(message);
    if (!reason.empty()) {
        shown.erase(shown.find_last_not_of('\n') + 1);
        shown += '\n';
        shown += kernel::shownLines(reason);
    }
    return shown;
}

std::string withinBounds(std::string_view shown, const TextBounds& bounds) {
    const auto lines = static_cast<std::size_t>(std::ranges::count(shown, '\n')) + 1;
    const std::size_t half = bounds.lines / 2;
    const std::size_t leftOut = lines <= bounds.lines ? 0 : lines - 2 * half;
    const std::size_t share = bounds.characters / std::min(lines, bounds.lines);
    std::string text;
    for (std::size_t number = 0; number < lines; ++number) {
        const std::string_view line = shown.substr(0, shown.find('\n'));
        shown.remove_prefix(std::min(line.size() + 1, shown.size()));
        const bool isLeftOut = number >= half && number < half + leftOut;
        if (isLeftOut && number > half) {
            continue;
        }
        text += number == 0 ? "" : "\n";
        if (isLeftOut) {
            text += noteOf(leftOut, "lines");
        } else {
            appendLine(text, line, share);
        }
    }
    return text;
}

} // namespace workbench
