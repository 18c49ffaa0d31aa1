#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <string_view>

namespace storage {

/// The format's upper-case form of one UTF-16 unit ([MS-CFB] 2.6.4): the simple mapping, each unit by itself.
char16_t upperCaseBeyondAscii(char16_t unit);
inline char16_t upperCase(char16_t unit) {
    if (unit >= 0x80) {
        return upperCaseBeyondAscii(unit);
    }
    return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 32) : unit;
}

/// The longest name, in UTF-16 units.
inline constexpr std::size_t kMaxNameUnits = 31;

/// The name of a storage or stream: 31 UTF-16 units at most. Compared in the order of siblings: the shorter name first,
/// then by the first unit whose upper-case forms differ.
class Name {
public:
    Name() = default;
    /// A name as it stands in a file, of kMaxNameUnits at most; any unit, and none, may be in it.
    explicit Name(std::u16string_view units);
    /// A name as a caller gives it. kInvalidName where it is empty, too long, or has one of / \ : ! or a zero in it.
    static Name checked(std::u16string_view units);

    std::u16string_view units() const { return {units_.data(), length_}; }

    friend std::weak_ordering operator<=>(const Name& left, const Name& right);

private:
    std::uint16_t length_ = 0; // in front, where the comparison meets it in one line of the cache with the first units
    std::array<char16_t, kMaxNameUnits> units_{};
};

} // namespace storage
