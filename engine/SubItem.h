#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace items {
/// The size of every item's data block.
inline constexpr std::size_t kItemDataBytes = 128;
} // namespace items

/// The types that a sub-field of an NV item can have. The codes are fixed: other layers and files may hold them.
enum class SubItemType : std::int32_t {
    BYTE = 0,
    SIGNED_BYTE = 1,
    WORD = 2,
    SIGNED_WORD = 3,
    DWORD = 4,
    SIGNED_DWORD = 5,
    QWORD = 6,
    SIGNED_QWORD = 7,
};

/// What is known of a type without looking at a value.
struct SubItemTypeInfo {
    std::string_view ringSpelling;    ///< as the decoder ring writes it, with an underscore
    std::string_view displaySpelling; ///< as a sub-field that has held data shows it, with a blank
    std::size_t bytes;                ///< 1, 2, 4 or 8
};

/// One row per type, indexed by its code.
inline constexpr std::array<SubItemTypeInfo, 8> kSubItemTypes{{
    {"BYTE", "BYTE", 1},
    {"SIGNED_BYTE", "SIGNED BYTE", 1},
    {"WORD", "WORD", 2},
    {"SIGNED_WORD", "SIGNED WORD", 2},
    {"DWORD", "DWORD", 4},
    {"SIGNED_DWORD", "SIGNED DWORD", 4},
    {"QWORD", "QWORD", 8},
    {"SIGNED_QWORD", "SIGNED QWORD", 8},
}};

constexpr const SubItemTypeInfo& subItemTypeInfo(SubItemType type) {
    return kSubItemTypes[static_cast<std::size_t>(type)];
}

/// One sub-field of an item as the views show it.
struct SubItem {
    std::string description; ///< free text from the ring
    std::string value;       ///< decimal text; empty until data was set. As typed (untrimmed) when it was set from text
    std::string typeName;    ///< ring spelling until data was set, display spelling from then on

    bool operator==(const SubItem&) const = default;
};
