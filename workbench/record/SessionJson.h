#pragma once

#include "workbench/record/Session.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Sessions as JSON (docs/schema/history.json has the form), and the words for what they are.
namespace record {

/// "read", "write", "restore".
const char* wordOf(SessionKind kind);
/// "begun", "complete", "incomplete", "cancelled", "interrupted".
const char* wordOf(SessionState state);
/// "not_tried", "read", "no_value", "failed", "missing", "verified", "refused", "different", "not_known".
const char* wordOf(ItemState state);

/// A text of a session is no longer than this where it comes from a file.
inline constexpr std::size_t kMaxTextBytes = std::size_t{1} << 16U;

/// What a list of sessions says of one.
nlohmann::ordered_json sessionJson(const Session& session);

using NameOfItem = std::function<std::string(std::uint16_t number)>;
/// A session as a whole, with the names of its items where they are known, as sessionFromJson() takes it.
std::string sessionToJson(const Session& session, std::span<const SessionItem> items, const NameOfItem& nameOf);

struct RecordedSession {
    Session session;
    std::vector<SessionItem> items;
};
/// The session of such a text, or of one that a read has written. The uuid of the latter is made of its content, so
/// that the same file is the same session whoever takes it, and how often.
///
/// Throws workbench::ValuesRefused with kText, whose message names `source`, for anything else: a text of a later
/// program, a session that was under way, a read that does not say of which phone it is and when.
RecordedSession sessionFromJson(const std::string& text, const std::string& source);

/// The time that "2026-11-23T23:50:12.123Z" is, or "2026-11-23T23:50:12Z"; nothing before 1970 or after 2261.
std::optional<Time> timeOfUtcText(std::string_view text);

} // namespace record
