#include "platform/storage/Names.h"

#include <algorithm>
#include <array>

namespace storage {
namespace {

// From `first` to `last` in steps of `stride`: the upper-case form is the unit plus `distance`.
struct UpperRange {
    std::uint16_t first;
    std::uint16_t last;
    std::uint16_t stride;
    std::int32_t distance;
};

// The simple upper-case mappings of Unicode 3.0 within the Basic Multilingual Plane, from U+0080 on.
// clang-format off
constexpr std::array kUpperRanges{
    UpperRange{0x00B5, 0x00B5, 1, 743},
    UpperRange{0x00E0, 0x00F6, 1, -32},
    UpperRange{0x00F8, 0x00FE, 1, -32},
    UpperRange{0x00FF, 0x00FF, 1, 121},
    UpperRange{0x0101, 0x012F, 2, -1},
    UpperRange{0x0131, 0x0131, 1, -232},
    UpperRange{0x0133, 0x0137, 2, -1},
    UpperRange{0x013A, 0x0148, 2, -1},
    UpperRange{0x014B, 0x0177, 2, -1},
    UpperRange{0x017A, 0x017E, 2, -1},
    UpperRange{0x017F, 0x017F, 1, -300},
    UpperRange{0x0183, 0x0185, 2, -1},
    UpperRange{0x0188, 0x0188, 1, -1},
    UpperRange{0x018C, 0x018C, 1, -1},
    UpperRange{0x0192, 0x0192, 1, -1},
    UpperRange{0x0195, 0x0195, 1, 97},
    UpperRange{0x0199, 0x0199, 1, -1},
    UpperRange{0x01A1, 0x01A5, 2, -1},
    UpperRange{0x01A8, 0x01A8, 1, -1},
    UpperRange{0x01AD, 0x01AD, 1, -1},
    UpperRange{0x01B0, 0x01B0, 1, -1},
    UpperRange{0x01B4, 0x01B6, 2, -1},
    UpperRange{0x01B9, 0x01B9, 1, -1},
    UpperRange{0x01BD, 0x01BD, 1, -1},
    UpperRange{0x01BF, 0x01BF, 1, 56},
    UpperRange{0x01C5, 0x01C5, 1, -1},
    UpperRange{0x01C6, 0x01C6, 1, -2},
    UpperRange{0x01C8, 0x01C8, 1, -1},
    UpperRange{0x01C9, 0x01C9, 1, -2},
    UpperRange{0x01CB, 0x01CB, 1, -1},
    UpperRange{0x01CC, 0x01CC, 1, -2},
    UpperRange{0x01CE, 0x01DC, 2, -1},
    UpperRange{0x01DD, 0x01DD, 1, -79},
    UpperRange{0x01DF, 0x01EF, 2, -1},
    UpperRange{0x01F2, 0x01F2, 1, -1},
    UpperRange{0x01F3, 0x01F3, 1, -2},
    UpperRange{0x01F5, 0x01F5, 1, -1},
    UpperRange{0x01F9, 0x021F, 2, -1},
    UpperRange{0x0223, 0x0233, 2, -1},
    UpperRange{0x0253, 0x0253, 1, -210},
    UpperRange{0x0254, 0x0254, 1, -206},
    UpperRange{0x0256, 0x0257, 1, -205},
    UpperRange{0x0259, 0x0259, 1, -202},
    UpperRange{0x025B, 0x025B, 1, -203},
    UpperRange{0x0260, 0x0260, 1, -205},
    UpperRange{0x0263, 0x0263, 1, -207},
    UpperRange{0x0268, 0x0268, 1, -209},
    UpperRange{0x0269, 0x0269, 1, -211},
    UpperRange{0x026F, 0x026F, 1, -211},
    UpperRange{0x0272, 0x0272, 1, -213},
    UpperRange{0x0275, 0x0275, 1, -214},
    UpperRange{0x0280, 0x0280, 1, -218},
    UpperRange{0x0283, 0x0283, 1, -218},
    UpperRange{0x0288, 0x0288, 1, -218},
    UpperRange{0x028A, 0x028B, 1, -217},
    UpperRange{0x0292, 0x0292, 1, -219},
    UpperRange{0x0345, 0x0345, 1, 84},
    UpperRange{0x03AC, 0x03AC, 1, -38},
    UpperRange{0x03AD, 0x03AF, 1, -37},
    UpperRange{0x03B1, 0x03C1, 1, -32},
    UpperRange{0x03C2, 0x03C2, 1, -31},
    UpperRange{0x03C3, 0x03CB, 1, -32},
    UpperRange{0x03CC, 0x03CC, 1, -64},
    UpperRange{0x03CD, 0x03CE, 1, -63},
    UpperRange{0x03D0, 0x03D0, 1, -62},
    UpperRange{0x03D1, 0x03D1, 1, -57},
    UpperRange{0x03D5, 0x03D5, 1, -47},
    UpperRange{0x03D6, 0x03D6, 1, -54},
    UpperRange{0x03DB, 0x03EF, 2, -1},
    UpperRange{0x03F0, 0x03F0, 1, -86},
    UpperRange{0x03F1, 0x03F1, 1, -80},
    UpperRange{0x0430, 0x044F, 1, -32},
    UpperRange{0x0450, 0x045F, 1, -80},
    UpperRange{0x0461, 0x0481, 2, -1},
    UpperRange{0x048D, 0x04BF, 2, -1},
    UpperRange{0x04C2, 0x04C4, 2, -1},
    UpperRange{0x04C8, 0x04C8, 1, -1},
    UpperRange{0x04CC, 0x04CC, 1, -1},
    UpperRange{0x04D1, 0x04F5, 2, -1},
    UpperRange{0x04F9, 0x04F9, 1, -1},
    UpperRange{0x0561, 0x0586, 1, -48},
    UpperRange{0x1E01, 0x1E95, 2, -1},
    UpperRange{0x1E9B, 0x1E9B, 1, -59},
    UpperRange{0x1EA1, 0x1EF9, 2, -1},
    UpperRange{0x1F00, 0x1F07, 1, 8},
    UpperRange{0x1F10, 0x1F15, 1, 8},
    UpperRange{0x1F20, 0x1F27, 1, 8},
    UpperRange{0x1F30, 0x1F37, 1, 8},
    UpperRange{0x1F40, 0x1F45, 1, 8},
    UpperRange{0x1F51, 0x1F57, 2, 8},
    UpperRange{0x1F60, 0x1F67, 1, 8},
    UpperRange{0x1F70, 0x1F71, 1, 74},
    UpperRange{0x1F72, 0x1F75, 1, 86},
    UpperRange{0x1F76, 0x1F77, 1, 100},
    UpperRange{0x1F78, 0x1F79, 1, 128},
    UpperRange{0x1F7A, 0x1F7B, 1, 112},
    UpperRange{0x1F7C, 0x1F7D, 1, 126},
    UpperRange{0x1F80, 0x1F87, 1, 8},
    UpperRange{0x1F90, 0x1F97, 1, 8},
    UpperRange{0x1FA0, 0x1FA7, 1, 8},
    UpperRange{0x1FB0, 0x1FB1, 1, 8},
    UpperRange{0x1FB3, 0x1FB3, 1, 9},
    UpperRange{0x1FBE, 0x1FBE, 1, -7205},
    UpperRange{0x1FC3, 0x1FC3, 1, 9},
    UpperRange{0x1FD0, 0x1FD1, 1, 8},
    UpperRange{0x1FE0, 0x1FE1, 1, 8},
    UpperRange{0x1FE5, 0x1FE5, 1, 7},
    UpperRange{0x1FF3, 0x1FF3, 1, 9},
    UpperRange{0x2170, 0x217F, 1, -16},
    UpperRange{0x24D0, 0x24E9, 1, -26},
    UpperRange{0xFF41, 0xFF5A, 1, -32},};
// clang-format on

} // namespace

char16_t upperCaseBeyondAscii(char16_t unit) {
    const auto range = std::lower_bound(kUpperRanges.begin(), kUpperRanges.end(), unit,
                                        [](const UpperRange& row, char16_t value) { return row.last < value; });
    if (range == kUpperRanges.end() || unit < range->first || (unit - range->first) % range->stride != 0) {
        return unit;
    }
    return static_cast<char16_t>(unit + range->distance);
}

} // namespace storage
