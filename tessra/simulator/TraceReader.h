#pragma once

#include "tessra/trace/TraceRecord.h"

#include <cstddef>
#include <filesystem>
#include <string_view>
#include <vector>

namespace tessra {

inline constexpr std::size_t kMaxTraceBytes = std::size_t{256} << 20;

/// The records of a trace as traceLine() writes them; docs/trace.md. ConfigError, naming `file` and the line, for
/// anything else.
std::vector<TraceRecord> parseTrace(std::string_view text, const std::filesystem::path& file);

/// The records of one port of a trace. `port` may be empty where the trace has one alone. ConfigError for a file that
/// can't be read, has more than kMaxTraceBytes or a wrong line, lacks that port, or leaves open which one is meant.
std::vector<TraceRecord> loadTrace(const std::filesystem::path& file, std::string_view port);

} // namespace tessra
