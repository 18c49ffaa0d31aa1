#pragma once

#include <functional>
#include <string_view>

namespace kernel {

/// Takes one text. It is called by any thread, one call at a time, and not again once it has been replaced; so it must
/// neither block for long nor call this header's functions itself. What it throws is dropped.
using TextSink = std::function<void(std::string_view)>;

/// The trace for whoever debugs: nobody sees it until a sink is set. Texts bring their own line feeds.
void debugOutput(std::string_view text);
/// Replaces the sink of debugOutput; an empty one silences it.
void setDebugOutput(TextSink sink);

/// For failures that cannot be thrown: `message` names its place and what went wrong, without a line feed. Goes to
/// standard error as one line unless a sink is set. Never throws.
void logError(std::string_view message) noexcept;
/// Replaces the sink of logError; an empty one brings standard error back.
void setErrorLog(TextSink sink);

} // namespace kernel
