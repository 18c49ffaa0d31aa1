#pragma once

#include "engine/Calvane.h"

#include <span>
#include <string>
#include <vector>

/// Items as JSON, for programs and for a look at what changed between two reads:
///
///     { "items": [ { "id": 1024, "name": "NV_TX_GAIN_OFFSET_I", "access": "readwrite",
///                    "fields": [ { "type": "SIGNED WORD", "description": "gain offset", "value": "-12" } ] } ] }
///
/// A value is its decimal text, since a number of JSON would lose digits of 64 bits on the way through many readers;
/// whole numbers are read as well.
std::string itemsToJson(std::span<const NvItem> items);

/// The items of such a text, with layouts from `catalog`'s ring and values from the text. "id" and the fields' "value"
/// are needed; "name" and "type", where they stand, must be the ring's, so that values made for another ring never
/// reach a phone. Throws std::runtime_error for a text that is no JSON (with line and column), that is not of this form
/// or that does not fit the ring; the message names `source`, and the item where there is one.
std::vector<NvItem> itemsFromJson(const std::string& text, const std::string& source, Calvane& catalog);
