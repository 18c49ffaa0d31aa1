#pragma once

#include "workbench/PhoneIdentity.h"
#include "workbench/RingInfo.h"

#include <nlohmann/json.hpp>

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

/// What the JSON that programs read has in common: it says of which form it is, who made it, with which ring, of which
/// phone. docs/schema has a JSON Schema for each form, docs/automation.md the words.
namespace workbench {

inline constexpr const char* kProgramVersion = "Calvane 1.4.34";
/// Of all forms. A file of a later one is refused.
inline constexpr int kResultSchema = 1;

/// "2026-11-23T23:50:12.123Z".
std::string utcText(std::chrono::system_clock::time_point when);
/// The time that such a text says; nothing for another text.
std::optional<std::chrono::system_clock::time_point> timeOfUtcText(const std::string& text);

/// The first members of a JSON of this form: "form", "schema", "program", and "ring" where there is one.
nlohmann::ordered_json headJson(const char* form, const std::optional<RingInfo>& ring);
/// The phone; null for one that has told nothing.
nlohmann::ordered_json phoneJson(const PhoneIdentity& phone);
/// The text of a document. Bytes that are no UTF-8 are replaced.
std::string textOf(const nlohmann::ordered_json& document);

/// 256 hexadecimal digits of an item's 128 bytes.
std::string hexText(std::span<const std::uint8_t> bytes);

} // namespace workbench
