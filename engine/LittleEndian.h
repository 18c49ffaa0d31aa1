#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>

/// Numbers as the phone packs them: least significant byte first, at any address. The byte order of this machine takes
/// no part; compilers turn each of these loops into one load or store.
namespace items {

/// The unsigned number in the sizeof(T) bytes at `bytes` (T of 1, 2, 4 or 8 bytes).
template <std::unsigned_integral T>
constexpr T loadLittleEndian(const unsigned char* bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        value |= std::uint64_t{bytes[i]} << (8 * i);
    }
    return static_cast<T>(value);
}

/// Writes `value` into the sizeof(T) bytes at `bytes`.
template <std::unsigned_integral T>
constexpr void storeLittleEndian(T value, unsigned char* bytes) {
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        bytes[i] = static_cast<unsigned char>(std::uint64_t{value} >> (8 * i));
    }
}

} // namespace items
