#pragma once

#include "engine/NvItem.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace workbench {

/// What is looked for in a list of items, as it was typed in one line: words with blanks between them. An item fits
/// where each word is part of its number, its name, one of its descriptions or one of its values in decimal. "=176" and
/// "=0xB0" stand for a sub-field of just that value, "0xB0" for such a one or for a part of a text.
///
/// Letters of ASCII fit whatever their case; all other bytes fit themselves.
class ItemQuery {
public:
    /// A part of a text, in bytes.
    struct Part {
        std::size_t begin = 0;
        std::size_t size = 0;

        bool operator==(const Part&) const = default;
    };

    /// Fits every item.
    ItemQuery() = default;
    /// A "=" behind which no number stands yet counts as not typed.
    explicit ItemQuery(std::string_view typed);

    bool isEmpty() const { return words_.empty(); }
    /// Whether all words fit an item of this text, as textOf() makes it.
    bool fits(std::string_view itemText) const;
    /// Whether at least one word fits the description or the value of this sub-field.
    bool fitsField(const SubItem& field) const;
    /// Where the words stand in a text: in order, none of which touches another.
    std::vector<Part> partsOf(std::string_view text) const;

    /// All that can be found of an item, folded.
    static std::string textOf(const NvItem& item);

private:
    struct Word {
        std::string text;                ///< folded; empty where a value alone is meant
        std::vector<std::string> values; ///< as they stand in the text of an item; one of them fits as well

        bool fits(std::string_view itemText) const;
    };

    static Word wordOf(std::string_view typed);

    std::vector<Word> words_; ///< the longest first, as it is the rarest
};

} // namespace workbench
