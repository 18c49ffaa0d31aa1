#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace kernel {

std::uint32_t processId();

/// This computer's own name, without its domain, cut to the 15 characters that names between machines have room for;
/// in the case in which the system keeps it. Empty when the system gives none.
std::optional<std::string> computerName();

/// The directory of the running program's file, with symbolic links resolved; it does not depend on the current
/// directory. Throws std::filesystem::filesystem_error when the system does not tell.
std::filesystem::path programDirectory();

} // namespace kernel
