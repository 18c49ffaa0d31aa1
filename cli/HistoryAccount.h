#pragma once

#include "engine/NvItem.h"
#include "workbench/record/History.h"

#include <iosfwd>
#include <optional>
#include <string>

/// What people are told of sessions. Everything that a record holds is shown as a line of bounded length, whatever it
/// is.

std::string boundedText(const std::string& text);
/// "2026-11-23 02:30:12", in local time.
std::string localText(record::Time time);
/// "MODEL SERIAL"; "MODEL without a serial number on COM1".
std::string phoneText(const std::string& model, const std::string& serial, const std::string& port);
/// The first digits of the uuid, which tell it from most others.
std::string shortNumber(const std::string& uuid);
/// "write by user@host".
std::string whoText(const record::Session& session);
/// One line of a list of sessions.
std::string lineOf(const record::Session& session);
/// All that is known of it, a line each.
std::string headOf(const record::Session& session);

/// The sub-fields that differ, a line each with both values; all of `after` where nothing is known of before. An item
/// without sub-fields is shown as its bytes.
void printChange(std::ostream& out, const std::optional<NvItem>& before, const NvItem& after);
