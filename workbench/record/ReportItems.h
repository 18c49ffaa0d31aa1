#pragma once

#include "workbench/PhoneReader.h"
#include "workbench/PhoneWriter.h"
#include "workbench/WritePlan.h"
#include "workbench/record/Session.h"

#include <string>
#include <vector>

/// What reads and writes came to, as the record keeps it.
namespace record {

/// A session that begins now: with a uuid of its own, this computer's name and the user's.
Session newSession(SessionKind kind, std::string program, std::string asked);

/// Of a read that found a phone and asked it for something: the session's phone, port, begin, end, state and failure.
void describe(Session& session, const workbench::ReadReport& report);
/// Whether the phone has answered anything that is worth a session.
bool hasAnswers(const workbench::ReadReport& report);
/// All items that were asked for.
std::vector<SessionItem> itemsRead(const workbench::ReadReport& report);

/// What `plan` is about to write, with what the phone has now, in the plan's order; nothing is tried yet.
std::vector<SessionItem> itemsPlanned(const workbench::WritePlan& plan);
/// The same for those that `report` has left, and, where it lacks the check after a reset, for those that are to be
/// checked: an item that was read back since has that value before.
std::vector<SessionItem> itemsLeft(const workbench::WritePlan& plan, const workbench::WriteReport& report);
/// What became of `planned`, one of the items above.
SessionItem itemWritten(SessionItem planned, const workbench::WriteResult& result);
/// How a write of these has ended: phone, end, state and failure.
void describe(Session& session, const workbench::WriteReport& report);

} // namespace record
