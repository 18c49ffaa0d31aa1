#pragma once

#include "tessra/trace/TraceRecord.h"

#include <chrono>
#include <string>
#include <string_view>

/// The text in which a trace is kept: its first line, and a line per record; docs/trace.md has the layout.
namespace tessra {

/// The first line up to the time at which the trace began.
inline constexpr std::string_view kTraceHead = "Calvane packet trace 1, begun ";

/// Both come with their line feed.
std::string traceHeadLine(std::chrono::system_clock::time_point begin);
std::string traceLine(const TraceRecord& record);

/// Where the bytes stand in a line, what is in front of them: "0.001234 COM1 > read 1007 - ". A port's name has
/// characters other than visible ones of ASCII, and per cent signs, as a per cent sign and two hexadecimal digits.
std::string traceLineFront(const TraceRecord& record);

/// '>' to the phone, '<' from it, '!' damaged.
char waySign(TraceWay way);

/// The bytes in lower-case hexadecimal digits, "**" for each that is blanked out, "-" for none.
std::string traceBytes(const TraceRecord& record, std::string_view between = "");

} // namespace tessra
