#include "workbench/MessageText.h"

#include "platform/kernel/Text.h"

#include <algorithm>

namespace workbench {

namespace {

unsigned char byteOf(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

/// U+200B to U+200F, U+2028 to U+202E, U+2060 to U+2064, U+2066 to U+2069: what has no width, ends the line, or draws
/// the text behind it from the other side.
bool isUnseen(std::string_view character) {
    const auto isFrom = [character](std::string_view first, std::string_view last) {
        return character >= first && character <= last;
    };
    return isFrom("\xE2\x80\x8B", "\xE2\x80\x8F") || isFrom("\xE2\x80\xA8", "\xE2\x80\xAE") ||
           isFrom("\xE2\x81\xA0", "\xE2\x81\xA4") || isFrom("\xE2\x81\xA6", "\xE2\x81\xA9");
}

/// What stands in place of the `length` bytes at the front of `text`, which are a character, or none with 0; empty
/// where they may stand themselves.
std::string standInFor(std::string_view text, std::size_t length) {
    const unsigned char first = byteOf(text, 0);
    if (length == 0 || first < ' ' || first == 0x7F) {
        return "\\x" + kernel::hexDigits(first, 2);
    }
    // The second set of control characters, U+0080 to U+009F, takes two bytes.
    if (length == 2 && first == 0xC2 && byteOf(text, 1) < 0xA0) {
        return "\\x" + kernel::hexDigits(byteOf(text, 1), 2);
    }
    if (length == 3 && isUnseen(text.substr(0, length))) {
        const unsigned code = 0x2000U | (byteOf(text, 1) & 0x3FU) << 6 | (byteOf(text, 2) & 0x3FU);
        return "\\u" + kernel::hexDigits(code, 4);
    }
    return {};
}

bool isPlain(char character) {
    return character >= ' ' && character <= '~';
}

void appendShown(std::string& shown, std::string_view text, bool isMessage) {
    while (!text.empty()) {
        const auto plain = static_cast<std::size_t>(std::ranges::find_if_not(text, isPlain) - text.begin());
        shown += text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty()) {
            return;
        }
        const std::size_t length = kernel::utf8Length(text);
        const bool isDropped = isMessage && (text.front() == '\a' || text.starts_with("\r\n"));
        const bool isKept = isMessage && (text.front() == '\t' || text.front() == '\n');
        const std::string standIn = isDropped || isKept ? "" : standInFor(text, length);
        const std::size_t taken = std::max<std::size_t>(length, 1);
        shown += !standIn.empty() ? std::string_view(standIn) : text.substr(0, isDropped ? 0 : taken);
        text.remove_prefix(taken);
    }
}

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

std::string shownText(std::string_view text) {
    std::string shown;
    appendShown(shown, text, false);
    return shown;
}

std::string shownMessage(std::string_view message, std::string_view path, std::string_view reason) {
    std::string shown;
    constexpr std::string_view kPathMark = "%1";
    while (!path.empty()) {
        const auto mark = message.find(kPathMark);
        if (mark == std::string_view::npos) {
            break;
        }
        appendShown(shown, message.substr(0, mark), true);
        appendShown(shown, path, false);
        message.remove_prefix(mark + kPathMark.size());
    }
    appendShown(shown, message, true);
    if (!reason.empty()) {
        shown.erase(shown.find_last_not_of('\n') + 1);
        shown += '\n';
        appendShown(shown, reason, true);
    }
    return shown;
}

std::string shortened(std::string_view shown, const TextBounds& bounds) {
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
