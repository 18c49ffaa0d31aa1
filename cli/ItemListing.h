#pragma once

#include "engine/NvItem.h"

#include <cstdint>
#include <iosfwd>
#include <set>
#include <span>
#include <string>

/// Prints the items for a reader at a terminal: a line with number, name and access mark each, then a line per
/// sub-field with its number from 1, its type, its value (where the item has one) and its description.
/// Those whose numbers are in `repeated` are marked as being there more than once.
void printItems(std::ostream& out, std::span<const NvItem> items, const std::set<std::uint16_t>& repeated = {});

/// The layouts of items without values:
/// { "items": [ { "id": 10, "name": "NV_A", "access": "readwrite", "fields": [ { "field": 1, "type": "BYTE",
/// "description": "flag" } ] } ] }
std::string layoutsToJson(std::span<const NvItem> items);

/// Prints the bytes of an item, sixteen to a line behind their offset, under a line with its number and its name (empty
/// for an item that no ring describes). `repeated` as above.
void printItemBytes(std::ostream& out, std::uint16_t number, const std::string& name,
                    std::span<const std::uint8_t> bytes, const std::set<std::uint16_t>& repeated);
