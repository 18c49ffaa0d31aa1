#pragma once

#include "workbench/Units.h"
#include "workbench/record/Session.h"

#include <span>
#include <string>

class Calvane;

namespace record {

/// One session as a page of HTML to be printed and kept: the phone, who did what and when, with which decoder ring, the
/// note, and each item with its values, what its limits say of them and what became of it. A value outside its limits
/// is marked, and counted at the top.
///
/// The page is UTF-8, stands by itself, and shows every text as text, whatever it looks like. Values are raw, as the
/// phone has them; those that have limits stand there in their unit as well. `catalog` has the layouts.
std::string sessionReport(const Session& session, std::span<const SessionItem> items, const Calvane& catalog,
                          const workbench::Units& units);

} // namespace record
