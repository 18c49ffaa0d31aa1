#pragma once

#include "workbench/Units.h"
#include "workbench/record/Session.h"

#include <span>
#include <string>

class Calvane;

/// Writes the report of a session (workbench/record/SessionReport.h) to the file `path`, as a whole: a PDF where it
/// ends in ".pdf", otherwise HTML. Any thread. Throws std::runtime_error naming the file and what is wrong.
void writeReport(const std::string& path, const record::Session& session, std::span<const record::SessionItem> items,
                 const Calvane& catalog, const workbench::Units& units);
