#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

/// What a phone answers to a read or a write of one NV item.
namespace nvstatus {

inline constexpr std::uint16_t kSuccess = 0;

/// The text of a status that makes a write fail (1 to 10); nothing for every other one, which counts as success there.
/// A read takes kSuccess alone for success.
std::optional<std::string_view> writeFailureText(std::uint16_t status);

} // namespace nvstatus
