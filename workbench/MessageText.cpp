#include "workbench/MessageText.h"

namespace workbench {

namespace {

/// Appends `text` as it may be shown. A terminal would obey what is replaced here.
void appendShown(std::string& shown, std::string_view text, bool keepLines) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < text.size() ? text[i + 1] : '\0');
        const bool isLineEnd = byte == '\r' && next == '\n';
        if (byte == '\a' || (keepLines && isLineEnd)) {
            continue;
        }
        // The second set of control characters, U+0080 to U+009F, takes two bytes of UTF-8.
        const bool isLongControl = byte == 0xC2 && next >= 0x80 && next <= 0x9F;
        const bool isKept = keepLines && (byte == '\t' || byte == '\n');
        const bool isControl = isLongControl || byte < ' ' || byte == 0x7F;
        shown += isControl && !isKept ? '?' : text[i];
        i += isLongControl ? 1 : 0;
    }
}

} // namespace

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

} // namespace workbench
