#pragma once

#include "engine/Calvane.h"
#include "workbench/ResultJson.h"
#include "workbench/WritePlan.h"

#include <span>
#include <string>
#include <vector>

namespace workbench {

/// Items as JSON, for programs and for a look at what changed between two reads:
///
///     { "form": "items", "schema": 1, ..., "items": [ { "id": 1024, "name": "NV_TX_GAIN_OFFSET_I", "access":
///     "readwrite",
///                    "fields": [ { "type": "SIGNED WORD", "description": "gain offset", "value": "-12" } ],
///                    "raw": "f4ff0000..." } ] }
///
/// A value is its decimal text, since a number of JSON would lose digits of 64 bits on the way through many readers;
/// whole numbers are read as well. "raw" has all 128 bytes of the item in 256 hexadecimal digits, also those that no
/// field covers. Texts of a ring that are no UTF-8 are taken for Latin-1. Before the items stand the ring and, of a
/// read, port, phone, time and the numbers that are missing by reason, where these are given.
std::string itemsToJson(std::span<const NvItem> items, const std::optional<RingInfo>& ring = {},
                        const ReadReport* read = nullptr);

/// The items of such a text, with layouts from `catalog`'s ring and values from the text. "id" and the fields' "value"
/// are needed. "raw", where it stands, gives the bytes, and the values must be the same; without it the values alone
/// are meant. "name", "type" and "description", where they stand, must be the ring's, so that values made for another
/// ring never reach a phone. `wrap` as for setTypedValues(). Throws ValuesRefused, whose message names `source`, and
/// the item and field where there are such: kText for an item that stands there twice and for what readItemList()
/// refuses, kValues for what does not fit the ring, a type or "raw".
std::vector<WantedItem> itemsFromJson(const std::string& text, const std::string& source, Calvane& catalog, bool wrap);

/// What a JSON of items says of the read that they come from.
struct JsonHead {
    std::string form;    ///< empty in the files of older versions
    std::string comPort; ///< empty where it tells of no read
    PhoneIdentity phone;
    std::optional<std::chrono::system_clock::time_point> when;
    /// The numbers that were asked for and are not among the items, by reason.
    std::vector<std::uint16_t> noValue;
    std::vector<std::uint16_t> failed;
    std::vector<std::uint16_t> lost;
    std::vector<std::uint16_t> notTried;
};

/// Items that are to be looked at.
struct JsonItems {
    JsonHead head;
    std::vector<NvItem> items; ///< their values as the bytes have them, however they were typed
    bool bringsAllBytes = true;
};
/// The items of a text of either form: those with "fields" as itemsFromJson() takes them, others as rawItemsFromJson()
/// does.
JsonItems shownItemsFromJson(const std::string& text, const std::string& source, Calvane& catalog);

/// The items that were read, described or not, as { "id": 7, "raw": "f4ff0000..." }, with the same head.
std::string rawItemsToJson(const ReadReport& read, const RingInfo& ring);
/// The items of such a text; one that the ring does not describe is a "No Name" item. "raw" is needed. Items that have
/// "fields" as well are taken as itemsFromJson() does it.
std::vector<WantedItem> rawItemsFromJson(const std::string& text, const std::string& source, Calvane& catalog,
                                         bool wrap);

/// A raw read that can be gone on with.
struct EarlierRead {
    JsonHead head;
    std::vector<ItemReading> items; ///< each kRead
};
/// Refuses as readItemList() does, a list with an item twice or without "raw", and numbers in the head that are none.
EarlierRead earlierReadFromJson(const std::string& text, const std::string& source);

/// A text of the ring, which is plain bytes, as JSON and other files in UTF-8 have it. What is no UTF-8 is taken for
/// Latin-1, so that each text becomes one of its own and is recognised when it comes back.
std::string utf8Text(const std::string& ringText);

} // namespace workbench
