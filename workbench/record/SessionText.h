#pragma once

#include "engine/NvItem.h"
#include "workbench/record/Session.h"

#include <string>

/// Words for what the record holds. Texts that phones, files and people gave stand in them as they are: who shows them
/// makes them harmless (workbench/MessageText.h).
namespace record {

/// "2026-11-17 10:12:05", by the clock of this computer; " +0100" behind it where its zone is wanted.
std::string localTime(Time when, bool withZone = false);
/// "MODEL SERIAL"; "MODEL (no serial number) on COM1" for a phone that tells none.
std::string phoneText(const std::string& model, const std::string& serial, const std::string& port);
/// What was asked for; the kind where nobody has said that.
std::string askedText(const Session& session);
/// "USER on HOST"; what is known of the two.
std::string operatorText(const Session& session);
/// What became of the item, with the reason where there is one: "verified", "refused: NV status 5".
std::string resultText(const SessionItem& item);
/// The values of the sub-fields, separated by ", "; the bytes up to the last one that is not zero, in hexadecimal,
/// where the ring has no sub-fields for them. Long ones end in "...".
std::string valuesText(const NvItem& item);

} // namespace record
