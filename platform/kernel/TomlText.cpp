#include "platform/kernel/TomlText.h"

#include "platform/kernel/Text.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace kernel {
namespace {

constexpr std::size_t kMaxLineBytes = 4096;
constexpr std::size_t kMaxLevels = 32;

bool isAscii(char character) {
    return static_cast<unsigned char>(character) < 0x80;
}

// Walks over a text of TOML, or of what claims to be that, and keeps account of its levels. It need not understand more
// than the parser, which ends at the first mistake.
class TextWalk {
public:
    explicit TextWalk(std::string_view text) : rest_(kernel::withoutByteOrderMark(text)) {}

    // What the parser must not see, at line(); empty where there is nothing.
    std::string findFault() {
        while (!rest_.empty()) {
            step();
            if (tableLevels_ + dotsAtOpening_.size() + dotsBelow_ + dots_ > kMaxLevels) {
                return "nested deeper than " + std::to_string(kMaxLevels) + " levels";
            }
            if (fault_ != nullptr) {
                return fault_;
            }
        }
        return {};
    }
    std::size_t line() const { return line_; }

private:
    void step() {
        const char character = rest_.front();
        const char before = std::exchange(before_, character);
        if (character == '"' || character == '\'') {
            // The parser takes a sign in a word for one of its letters.
            if (std::string_view("\n\t =[{,.").find(before) == std::string_view::npos) {
                fault_ = "a quotation mark stands in the middle of a word";
            }
            skipText(character);
            atLineStart_ = false;
            return;
        }
        if (character == '#') {
            rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
            return;
        }
        rest_.remove_prefix(1);
        if (character == '\n') {
            endLine();
        } else if (!isWhiteSpace(character)) {
            count(character);
            atLineStart_ = false;
            if (!isAscii(character)) {
                fault_ = "a character that is no ASCII stands outside quotation marks";
            } else if (character < ' ') {
                fault_ = "a control character";
            }
        }
    }

    void count(char character) {
        const bool isOutside = dotsAtOpening_.empty();
        if (isOutside && character == '[' && (atLineStart_ || inTableName_)) {
            tableLevels_ = atLineStart_ ? 1 : tableLevels_ + 1;
            inTableName_ = true;
        } else if (character == '[' || character == '{') {
            dotsAtOpening_.push_back(dots_);
            dotsBelow_ += dots_;
            dots_ = 0;
        } else if ((character == ']' || character == '}') && !isOutside) {
            dots_ = dotsAtOpening_.back();
            dotsBelow_ -= dots_;
            dotsAtOpening_.pop_back();
        } else if (character == '.') {
            ++(inTableName_ ? tableLevels_ : dots_);
        } else if (character == ',') {
            dots_ = 0;
        }
    }

    void endLine() {
        ++line_;
        if (dotsAtOpening_.empty()) {
            dots_ = 0;
            inTableName_ = false;
            atLineStart_ = true;
        }
    }

    // A text of one line ends there at the latest; three signs enclose one of many lines.
    void skipText(char sign) {
        const std::string three(3, sign);
        const bool isLong = rest_.starts_with(three);
        rest_.remove_prefix(isLong ? 3 : 1);
        while (!rest_.empty() && (isLong ? !rest_.starts_with(three) : rest_.front() != sign)) {
            if (rest_.front() == '\n') {
                if (!isLong) {
                    return;
                }
                ++line_;
            }
            // What the parser makes of a letter behind the backslash that ends a line is not defined.
            if (isLong && !isAscii(rest_.front())) {
                fault_ = "a character that is no ASCII stands between three quotation marks";
            }
            const bool isEscape = sign == '"' && rest_.front() == '\\' && rest_.size() > 1 && rest_[1] != '\n';
            rest_.remove_prefix(isEscape ? 2 : 1);
        }
        // Up to two signs in front of the three that end a long text belong to it.
        for (int count = 0; count < (isLong ? 5 : 1) && rest_.starts_with(sign); ++count) {
            rest_.remove_prefix(1);
        }
    }

    std::string_view rest_;
    std::size_t line_ = 1;
    bool atLineStart_ = true;
    bool inTableName_ = false;
    const char* fault_ = nullptr;            // of the last step
    char before_ = '\n';                     // the character in front of rest_; of a text, its first sign
    std::size_t tableLevels_ = 0;            // of the table in which the keys stand
    std::size_t dots_ = 0;                   // since the last comma between the innermost brackets
    std::vector<std::size_t> dotsAtOpening_; // of each open bracket, those of the key in front of it
    std::size_t dotsBelow_ = 0;              // their sum
};

} // namespace

std::optional<TomlFault> findTomlFault(std::string_view text) {
    std::size_t line = 1;
    for (std::size_t at = 0; at < text.size(); ++line) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        if (end - at > kMaxLineBytes) {
            return TomlFault{line, "the line is longer than " + std::to_string(kMaxLineBytes) + " characters"};
        }
        if (text.size() > kMaxTomlBytes && end >= kMaxTomlBytes) {
            return TomlFault{line, "the file is longer than " + std::to_string(kMaxTomlBytes) + " bytes"};
        }
        at = end + 1;
    }
    TextWalk walk(text);
    const std::string fault = walk.findFault();
    return fault.empty() ? std::nullopt : std::optional(TomlFault{walk.line(), fault});
}

std::string quotedToml(std::string_view text) {
    std::string toml = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            toml += "\\u" + hexDigits(byte, 4);
            continue;
        }
        toml += c == '"' || c == '\\' ? "\\" : "";
        toml += c;
    }
    return toml + '"';
}

} // namespace kernel
