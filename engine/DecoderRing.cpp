#include "engine/DecoderRing.h"

#include "engine/CalvaneException.h"
#include "platform/kernel/Text.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

namespace items {

namespace {

/// Walks over one item line. Reading past the end gives empty texts and no characters.
class LineCursor {
public:
    explicit LineCursor(std::string_view line) : line_(line), next_(line.data()), end_(line.data() + line.size()) {}

    /// The characters up to `delimiter`, which is consumed too, or up to the end of the line; trimmed.
    std::string_view readUpTo(char delimiter) {
        const std::string_view rest(next_, end_);
        const std::size_t length = rest.find(delimiter);
        next_ = length == std::string_view::npos ? end_ : next_ + length + 1;
        return kernel::trimmed(rest.substr(0, length));
    }

    /// Skips white space and reads a decimal number. One that is too large is consumed all the same.
    std::optional<std::uint16_t> readNumber() {
        skipWhiteSpace();
        std::uint16_t number = 0;
        const auto [stop, error] = std::from_chars(next_, end_, number);
        next_ = stop;
        if (error != std::errc()) {
            return std::nullopt;
        }
        return number;
    }

    /// Skips white space and consumes one character, if there is one, and says whether it is `expected`.
    bool readSign(char expected) {
        skipWhiteSpace();
        return next_ != end_ && *next_++ == expected;
    }

    /// Skips white space and says whether nothing else follows.
    bool atEnd() {
        skipWhiteSpace();
        return next_ == end_;
    }

    /// "Error ... `reason`  The following ...": reading stopped here. The first messages of the parser were worded
    /// another way than the later ones, and users search for all of them as they are.
    CalvaneException failure(std::string_view reason, bool earlyWording = false) const {
        return CalvaneException("Error processing the decoder ring file.  " + std::string(reason) +
                                "  The following decoder ring string is in valid '" + std::string(line_) +
                                (earlyWording ? "\n\n' Processing" : "' processing") + " of the string stopped here '" +
                                std::string(kernel::firstWord({next_, end_})) + "'.");
    }

private:
    void skipWhiteSpace() {
        while (next_ != end_ && kernel::isWhiteSpace(*next_)) {
            ++next_;
        }
    }

    std::string_view line_;
    const char* next_;
    const char* end_;
};

constexpr std::string_view kSignedPrefix = "SIGNED_";

/// The code of the unsigned type whose spelling begins with a letter; 0 for a letter that none begins with.
constexpr auto kCodeOfLetter = [] {
    std::array<std::uint8_t, 256> codes{};
    for (std::size_t code = 0; code < kSubItemTypes.size(); code += 2) {
        codes[static_cast<unsigned char>(kSubItemTypes[code].ringSpelling.front())] = static_cast<std::uint8_t>(code);
    }
    return codes;
}();

/// Picks the one type that a text of this length and letter can be and compares with it alone. This runs for every
/// sub-field of a ring, whose types follow each other without a pattern, so a branch per type would mostly go wrong.
std::optional<SubItemType> typeOfRingSpelling(std::string_view spelling) {
    if (spelling.empty()) {
        return std::nullopt;
    }
    const std::size_t isSigned = spelling.size() > kSignedPrefix.size() ? 1 : 0;
    const char letter = spelling[isSigned * kSignedPrefix.size()];
    const std::size_t code = kCodeOfLetter[static_cast<unsigned char>(letter)] + isSigned;
    if (kSubItemTypes[code].ringSpelling != spelling) {
        return std::nullopt;
    }
    return static_cast<SubItemType>(code);
}

void parseSubItems(LineCursor& cursor, RingLine& result) {
    std::size_t dataBytes = 0;
    do {
        const std::optional<SubItemType> type = typeOfRingSpelling(cursor.readUpTo(','));
        if (!type) {
            throw cursor.failure("The types that can be specified for the subitem can be: 'SIGNED_BYTE', 'BYTE', "
                                 "'SIGNED_WORD', 'WORD', 'SIGNED_DWORD', 'DWORD'.");
        }
        dataBytes += subItemTypeInfo(*type).bytes;
        if (dataBytes > kItemDataBytes) {
            throw cursor.failure("The subitems of an NV item can't add up to more than 128 bytes.");
        }
        result.fields[result.fieldCount++] = {cursor.readUpTo('>'), *type};
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

/// The lines of a file, through one buffer that is refilled in large pieces and grows only for a line that is longer.
class LineReader {
public:
    explicit LineReader(std::FILE* file) : file_(file), buffer_(kBufferBytes) {}

    /// The next line without its line feed, valid until the next call. False at the end of the file, or when reading
    /// failed; failed() tells which.
    bool next(std::string_view& line) {
        std::size_t searched = start_;
        for (;;) {
            const void* const lineFeed = std::memchr(buffer_.data() + searched, '\n', end_ - searched);
            if (lineFeed) {
                const std::size_t length =
                    static_cast<std::size_t>(static_cast<const char*>(lineFeed) - buffer_.data()) - start_;
                line = {buffer_.data() + start_, length};
                start_ += length + 1;
                return true;
            }
            const std::size_t pending = end_ - start_;
            if (!refill()) {
                line = {buffer_.data() + start_, pending};
                start_ = end_;
                return pending > 0 && !failed_;
            }
            searched = start_ + pending;
        }
    }

    bool failed() const { return failed_; }

private:
    // Large enough that a read costs little per line, small enough that the bytes are still in the cache when parsed.
    static constexpr std::size_t kBufferBytes = std::size_t{64} * 1024;

    /// Moves the line that has begun to the front and reads on behind it. False when nothing came.
    bool refill() {
        std::memmove(buffer_.data(), buffer_.data() + start_, end_ - start_);
        end_ -= start_;
        start_ = 0;
        if (end_ == buffer_.size()) {
            buffer_.resize(2 * buffer_.size());
        }
        const std::size_t got = std::fread(buffer_.data() + end_, 1, buffer_.size() - end_, file_);
        end_ += got;
        failed_ = std::ferror(file_) != 0;
        return got > 0;
    }

    std::FILE* file_;
    std::vector<char> buffer_;
    std::size_t start_ = 0;
    std::size_t end_ = 0;
    bool failed_ = false;
};

CalvaneException missingFile(const std::string& path) {
    return CalvaneException("The decoder ring file: '" + path + "' doesn't exist.  A decoder ring file is required.");
}

void loadLines(const std::string& path, std::map<std::uint16_t, NvItem>& items) {
    struct FileCloser {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    // Opening a pipe would wait for its writer, and reading a device never ends.
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) {
        throw missingFile(path);
    }
    const std::unique_ptr<std::FILE, FileCloser> file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        throw missingFile(path);
    }
    std::setvbuf(file.get(), nullptr, _IONBF, 0); // the reader has a buffer of its own

    LineReader lines(file.get());
    RingLine ringLine;
    ItemLayout::Pool pool;
    for (std::string_view line; lines.next(line);) {
        line = kernel::trimmed(line);
        if (line.empty() || line.starts_with("//")) {
            continue;
        }
        parseRingLine(line, ringLine);
        const std::uint16_t number = *ringLine.number;
        // Rings are mostly written in ascending order: then the new item goes to the end, which needs no search.
        const std::size_t before = items.size();
        items.try_emplace(items.end(), number, number, ringLine.layout(&pool));
        if (items.size() == before) {
            throw CalvaneException("The NV ID: '" + std::to_string(number) +
                                   "' was found twice in the decoder ring file '" + path + "'.");
        }
    }
    if (lines.failed()) {
        throw missingFile(path);
    }
}

} // namespace

ItemLayout RingLine::layout(ItemLayout::Pool* pool) const {
    return {name, accessMark, std::span(fields.data(), fieldCount), pool};
}

void parseRingLine(std::string_view line, RingLine& result) {
    LineCursor cursor(line);
    result.fieldCount = 0;
    result.name = cursor.readUpTo(',');
    result.number = cursor.readNumber();
    // What stands behind the number is judged only after the access mark has been read, so that the message quotes what
    // follows that mark.
    const bool comma = cursor.readSign(',');
    result.accessMark = cursor.readUpTo(',');
    if (!result.number || !comma) {
        throw cursor.failure("After the NV item ID there should be a comma.", true);
    }
    if (!cursor.readSign('<')) {
        throw cursor.failure("After the NV item ID and comma there should be a less than sign '<'.", true);
    }
    parseSubItems(cursor, result);
}

void loadDecoderRing(const std::string& path, std::map<std::uint16_t, NvItem>& items) {
    try {
        loadLines(path, items);
    } catch (const CalvaneException& exception) {
        throw CalvaneException(std::string("Calvane::Calvane( const string decoderRingFile ) - ") + exception.what());
    }
}

} // namespace items
