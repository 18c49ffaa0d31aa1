#pragma once

#include <cstdint>

namespace kernel {

/// Numbers as files and packets hold them: the byte of least weight first, at any address. `at` has room for the
/// number.
inline std::uint16_t get16(const std::uint8_t* at) {
    return static_cast<std::uint16_t>(at[0] | at[1] << 8);
}
inline std::uint32_t get32(const std::uint8_t* at) {
    return std::uint32_t{get16(at)} | std::uint32_t{get16(at + 2)} << 16;
}
inline std::uint64_t get64(const std::uint8_t* at) {
    return std::uint64_t{get32(at)} | std::uint64_t{get32(at + 4)} << 32;
}
inline void put16(std::uint8_t* at, std::uint16_t value) {
    at[0] = static_cast<std::uint8_t>(value);
    at[1] = static_cast<std::uint8_t>(value >> 8);
}
inline void put32(std::uint8_t* at, std::uint32_t value) {
    put16(at, static_cast<std::uint16_t>(value));
    put16(at + 2, static_cast<std::uint16_t>(value >> 16));
}
inline void put64(std::uint8_t* at, std::uint64_t value) {
    put32(at, static_cast<std::uint32_t>(value));
    put32(at + 4, static_cast<std::uint32_t>(value >> 32));
}

} // namespace kernel
