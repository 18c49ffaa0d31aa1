#include "platform/kernel/ShownText.h"

#include "platform/kernel/Text.h"

#include <algorithm>

namespace kernel {

namespace {

unsigned char byteOf(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

// U+200B to U+200F, U+2028 to U+202E, U+2060 to U+2064, U+2066 to U+2069: what has no width, ends the line, or draws
// the text behind it from the other side.
bool isUnseen(std::string_view character) {
    const auto isFrom = [character](std::string_view first, std::string_view last) {
        return character >= first && character <= last;
    };
    return isFrom("\xE2\x80\x8B", "\xE2\x80\x8F") || isFrom("\xE2\x80\xA8", "\xE2\x80\xAE") ||
           isFrom("\xE2\x81\xA0", "\xE2\x81\xA4") || isFrom("\xE2\x81\xA6", "\xE2\x81\xA9");
}

// What stands in place of the `length` bytes at the front of `text`, which are a character, or none with 0; empty
// where they may stand themselves.
std::string standInFor(std::string_view text, std::size_t length) {
    const unsigned char first = byteOf(text, 0);
    if (length == 0 || first < ' ' || first == 0x7F) {
        return "\\x" + hexDigits(first, 2);
    }
    // The second set of control characters, U+0080 to U+009F, takes two bytes.
    if (length == 2 && first == 0xC2 && byteOf(text, 1) < 0xA0) {
        return "\\x" + hexDigits(byteOf(text, 1), 2);
    }
    if (length == 3 && isUnseen(text.substr(0, length))) {
        const unsigned code = 0x2000U | (byteOf(text, 1) & 0x3FU) << 6 | (byteOf(text, 2) & 0x3FU);
        return "\\u" + hexDigits(code, 4);
    }
    return {};
}

bool isPlain(char character) {
    return character >= ' ' && character <= '~';
}

void appendShown(std::string& shown, std::string_view text, bool hasLines) {
    while (!text.empty()) {
        const auto plain = static_cast<std::size_t>(std::ranges::find_if_not(text, isPlain) - text.begin());
        shown += text.substr(0, plain);
        text.remove_prefix(plain);
        if (text.empty()) {
            return;
        }
        const std::size_t length = utf8Length(text);
        const bool isDropped = hasLines && (text.front() == '\a' || text.starts_with("\r\n"));
        const bool isKept = hasLines && (text.front() == '\t' || text.front() == '\n');
        const std::string standIn = isDropped || isKept ? "" : standInFor(text, length);
        const std::size_t taken = std::max<std::size_t>(length, 1);
        shown += !standIn.empty() ? std::string_view(standIn) : text.substr(0, isDropped ? 0 : taken);
        text.remove_prefix(taken);
    }
}

} // namespace

std::string shownText(std::string_view text) {
    std::string shown;
    appendShown(shown, text, false);
    return shown;
}

std::string shownLines(std::string_view text) {
    std::string shown;
    appendShown(shown, text, true);
    return shown;
}

} // namespace kernel
