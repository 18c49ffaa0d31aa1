#include "engine/DecoderRing.h"

#include "engine/CalvaneException.h"
#include "platform/kernel/Text.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <vector>

namespace items {

namespace {

/// An item of 128 sub-fields, each described by a sentence of 400 letters, stays below this.
constexpr std::size_t kMaxRingLineBytes = 65536;

/// Walks over one item line. Reading past the end gives empty texts and no characters.
class LineCursor {
public:
    explicit LineCursor(std::string_view line) : line_(line), rest_(line) {}

    /// The characters up to `delimiter`, which is consumed too, or up to the end of the line; trimmed.
    std::string_view readUpTo(char delimiter) {
        const std::string_view text = rest_.substr(0, rest_.find(delimiter));
        rest_.remove_prefix(std::min(text.size() + 1, rest_.size()));
        return kernel::trimmed(text);
    }

    /// Skips white space and reads a decimal number. One that is too large is consumed, but not answered.
    std::optional<std::uint16_t> readNumber() {
        rest_ = kernel::trimmedFront(rest_);
        std::uint16_t number = 0;
        const auto [stop, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
        rest_.remove_prefix(static_cast<std::size_t>(stop - rest_.data()));
        return error == std::errc() ? std::optional(number) : std::nullopt;
    }

    /// Skips white space and consumes one character, if there is one, and says whether it is `expected`.
    bool readSign(char expected) {
        rest_ = kernel::trimmedFront(rest_);
        const bool found = rest_.starts_with(expected);
        rest_.remove_prefix(std::min<std::size_t>(1, rest_.size()));
        return found;
    }

    /// Skips white space and says whether nothing else follows.
    bool atEnd() {
        rest_ = kernel::trimmedFront(rest_);
        return rest_.empty();
    }

    /// "Error ... `reason`  The following ...": reading stopped here. The first messages of the parser were worded
    /// another way than the later ones, and users search for all of them as they are.
    CalvaneException failure(std::string_view reason, bool earlyWording = false) const {
        return CalvaneException("Error processing the decoder ring file.  " + std::string(reason) +
                                "  The following decoder ring string is in valid '" + std::string(line_) +
                                (earlyWording ? "\n\n' Processing" : "' processing") + " of the string stopped here '" +
                                std::string(kernel::firstWord(rest_)) + "'.");
    }

private:
    std::string_view line_;
    std::string_view rest_;
};

std::optional<SubItemType> typeOfRingSpelling(std::string_view spelling) {
    for (std::size_t code = 0; code < kSubItemTypes.size(); ++code) {
        if (kSubItemTypes[code].ringSpelling == spelling) {
            return static_cast<SubItemType>(code);
        }
    }
    return std::nullopt;
}

void parseSubItems(LineCursor& cursor, ItemLayout& layout) {
    layout.fields.reserve(8); // most items have fewer
    do {
        const std::optional<SubItemType> type = typeOfRingSpelling(cursor.readUpTo(','));
        if (!type) {
            throw cursor.failure("The types that can be specified for the subitem can be: 'SIGNED_BYTE', 'BYTE', "
                                 "'SIGNED_WORD', 'WORD', 'SIGNED_DWORD', 'DWORD'.");
        }
        const std::size_t bytes = subItemTypeInfo(*type).bytes;
        if (layout.dataBytes + bytes > kItemDataBytes) {
            throw cursor.failure("The subitems of an NV item can't add up to more than 128 bytes.");
        }
        layout.dataBytes += bytes;
        layout.fields.push_back({*type, cursor.readUpTo('>')});
        if (!cursor.readSign('#')) {
            throw cursor.failure("There should be a pound sign '#' seperating the subitem types.");
        }
        if (cursor.atEnd()) {
            return;
        }
    } while (cursor.readSign('<'));
    throw cursor.failure("There should be a less than sign '<' after each pound sign '#' to indicate the start of the "
                         "next subitem.");
}

CalvaneException unusableFile(const std::string& path, const std::string& reason) {
    return CalvaneException("The decoder ring file: '" + path + "' " + reason + ".  A decoder ring file is required.");
}

/// Throws for what must not be opened: opening a pipe would wait for its writer, and reading a device never ends.
void requireRegularFile(const std::string& path) {
    std::error_code ignored;
    const auto type = std::filesystem::status(path, ignored).type();
    if (type == std::filesystem::file_type::fifo) {
        throw unusableFile(path, "is a pipe, not a file");
    }
    if (type != std::filesystem::file_type::regular) {
        throw unusableFile(path, "doesn't exist");
    }
}

/// Whether a text that begins so is UTF-16, with a byte order mark or without one.
bool looksLikeUtf16(std::string_view text) {
    return text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF") ||
           (text.size() >= 2 && (text[0] == '\0') != (text[1] == '\0'));
}

/// The lines of a ring, one at a time: a file is never held whole, whatever its lines.
class RingLines {
public:
    /// `path` must outlive this.
    explicit RingLines(const std::string& path)
        : path_(path), file_(path, std::ios::binary), buffer_(kMaxRingLineBytes + 1) {}

    /// Reads the next line; false behind the last one.
    bool next() {
        ++number_;
        file_.getline(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
        line_ = {buffer_.data(), static_cast<std::size_t>(file_.gcount()) - (file_.eof() || file_.fail() ? 0 : 1)};
        if (file_.bad() || !file_.is_open()) {
            throw unusableFile(path_, "doesn't exist");
        }
        if (file_.fail() && !file_.eof()) {
            throw unusableFile(path_, "has more than " + std::to_string(kMaxRingLineBytes) + " characters in line " +
                                          std::to_string(number_));
        }
        if (number_ == 1) {
            isUtf16_ = looksLikeUtf16(line_);
            line_ = kernel::withoutByteOrderMark(line_);
        }
        return !file_.fail();
    }
    std::string_view line() const { return kernel::trimmed(line_); }
    /// Single bytes can look like UTF-16, too: it counts where the first item can't be understood.
    bool isUtf16() const { return isUtf16_; }

private:
    const std::string& path_;
    std::ifstream file_;
    std::vector<char> buffer_;
    std::string_view line_;
    std::size_t number_ = 0;
    bool isUtf16_ = false;
};

void loadLines(const std::string& path, std::map<std::uint16_t, NvItem>& items) {
    requireRegularFile(path);
    RingLines lines(path);
    for (bool isFirst = true; lines.next();) {
        const std::string_view line = lines.line();
        if (line.empty() || line.starts_with("//")) {
            continue;
        }
        const auto layout = std::make_shared<ItemLayout>(line);
        try {
            parseRingLine(*layout);
        } catch (const CalvaneException&) {
            if (isFirst && lines.isUtf16()) {
                throw unusableFile(path, "is UTF-16: save it as plain text");
            }
            throw;
        }
        if (!items.try_emplace(layout->number, layout).second) {
            throw CalvaneException("The NV ID: '" + std::to_string(layout->number) +
                                   "' was found twice in the decoder ring file '" + path + "'.");
        }
        isFirst = false;
    }
}

} // namespace

void parseRingLine(ItemLayout& layout) {
    LineCursor cursor(layout.line);
    layout.name = cursor.readUpTo(',');
    const std::optional<std::uint16_t> number = cursor.readNumber();
    layout.number = number.value_or(layout.number);
    // What stands behind the number is judged only after the access mark has been read, so that the message quotes what
    // follows that mark.
    const bool comma = cursor.readSign(',');
    layout.accessMark = kernel::lowerCase(cursor.readUpTo(','));
    if (!number || !comma) {
        throw cursor.failure("After the NV item ID there should be a comma.", true);
    }
    if (!cursor.readSign('<')) {
        throw cursor.failure("After the NV item ID and comma there should be a less than sign '<'.", true);
    }
    parseSubItems(cursor, layout);
}

void loadDecoderRing(const std::string& path, std::map<std::uint16_t, NvItem>& items) {
    try {
        loadLines(path, items);
    } catch (const CalvaneException& exception) {
        throw CalvaneException("Calvane::Calvane( const string decoderRingFile ) - " + exception.message());
    }
}

} // namespace items
