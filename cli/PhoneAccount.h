#pragma once

#include "cli/ExitStatus.h"
#include "workbench/PhoneReader.h"
#include "workbench/PhoneWriter.h"

#include <iosfwd>
#include <set>
#include <string>

/// What the user is told of reads and writes on a phone.

/// How a read that was not carried through ends the program; kDone for one that was, also where items are missing.
ExitStatus endOf(const workbench::ReadReport& report);
/// Why it was not carried through.
std::string failureOf(const workbench::ReadReport& report);

/// Prints what would be written, each item with those of its sub-fields that would change.
void printPlan(std::ostream& out, const workbench::WritePlan& plan);
/// What would be written and what not, in numbers: a line each, with the items that are left out.
std::string leftOutOf(const workbench::WritePlan& plan);

/// What was written to which phone, and what became of everything else of the plan.
std::string accountOf(const workbench::WritePlan& plan, const workbench::WriteReport& report);
/// Of that, why it ended early and which items are not as they should be.
std::string failuresOf(const workbench::WritePlan& plan, const workbench::WriteReport& report);
/// A refusal of `tolerated` numbers is none.
ExitStatus statusOf(const workbench::WriteReport& report, const std::set<std::uint16_t>& tolerated);
