#pragma once

#include <nlohmann/json.hpp>

#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace workbench {

/// Reads the JSON text of an item list in one pass, and hands each element of its "items" to `take`, in their order. An
/// element keeps what an item can have: its "id", "name", "raw" and "fields", of these a few more than any item has,
/// and the "type", "description" and "value" of each. A list or an object where none belongs is kept without its
/// content. All else is checked and forgotten, so that what is held at a time does not depend on what a file repeats.
/// Answers what stands beside the list of the members that headJson() and itemsToJson() know; an empty object for a
/// file that has none of them.
///
/// Throws ValuesRefused with kText, whose message names `source`, for a text that is no JSON (with line and column),
/// has something behind its end, no list "items", an object with a key twice, more than 32 levels, or a text or number
/// of more than a megabyte, for a schema of a later program, and for a "form" that is none of `forms`; where it stands
/// before the list, no element of that is handed on. A file of an older version has no form. What `take` throws comes
/// through.
nlohmann::ordered_json readItemList(const std::string& text, const std::string& source,
                                    std::span<const std::string_view> forms,
                                    const std::function<void(const nlohmann::ordered_json&)>& take);

} // namespace workbench
