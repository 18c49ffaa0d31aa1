#pragma once

#include "platform/storage/Bytes.h"

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>

namespace storage {

// The format's upper-case form of one UTF-16 unit ([MS-CFB] 2.6.4): the simple mapping, each unit by itself.
char16_t upperCaseBeyondAscii(char16_t unit);
inline char16_t upperCase(char16_t unit) {
    if (unit >= 0x80) {
        return upperCaseBeyondAscii(unit);
    }
    return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 32) : unit;
}

// The longest name, in UTF-16 units.
inline constexpr std::size_t kMaxNameUnits = 31;

// The name of a child as a caller gives it, made ready for comparing.
class Name {
public:
    // kInvalidName where it is empty, too long, or has one of / \ : ! in it.
    explicit Name(std::u16string_view units);

    std::u16string_view units() const { return units_; }
    ByteView bytes() const { return {bytes_, 2 * units_.size()}; }

private:
    std::u16string_view units_;
    // As they would stand in an entry.
    std::uint8_t bytes_[2 * kMaxNameUnits];
};

// The order of siblings: the shorter name first, then by the first unit whose upper-case forms differ. An entry's name
// is its UTF-16 units as they stand in the file.
std::strong_ordering compareEntryNames(ByteView left, ByteView right);
inline std::strong_ordering compare(const Name& name, ByteView entryName) {
    return compareEntryNames(name.bytes(), entryName);
}

// Between a name and its form in UTF-8. Malformed parts become U+FFFD, which no name that was written here has.
std::u16string toUtf16(std::string_view text);
std::string toUtf8(std::u16string_view units);

} // namespace storage
