#pragma once

#include <cstdint>

namespace com {

/// The result of an interface method: 32 bits, negative for a failure. Bits 16 to 28 name the facility that the code
/// belongs to, the low 16 bits the condition.
using Status = std::int32_t;

constexpr Status makeStatus(std::uint32_t code) {
    return static_cast<Status>(code);
}
constexpr std::uint32_t statusBits(Status status) {
    return static_cast<std::uint32_t>(status);
}
constexpr bool failed(Status status) {
    return status < 0;
}
constexpr bool succeeded(Status status) {
    return status >= 0;
}

inline constexpr Status kOk = 0;
inline constexpr Status kFalse = 1;
inline constexpr Status kNoInterface = makeStatus(0x80004002);
inline constexpr Status kPointer = makeStatus(0x80004003);
inline constexpr Status kFail = makeStatus(0x80004005);
inline constexpr Status kUnexpected = makeStatus(0x8000FFFF);
inline constexpr Status kAccessDenied = makeStatus(0x80070005);
inline constexpr Status kOutOfMemory = makeStatus(0x8007000E);
inline constexpr Status kInvalidArgument = makeStatus(0x80070057);
inline constexpr Status kClassNotRegistered = makeStatus(0x80040154);
/// The calling thread is in no apartment.
inline constexpr Status kNotInitialized = makeStatus(0x800401F0);
/// The object behind the interface lives in the apartment of another thread.
inline constexpr Status kWrongThread = makeStatus(0x8001010E);
inline constexpr Status kDisconnected = makeStatus(0x80010108);

} // namespace com
