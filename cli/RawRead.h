#pragma once

#include "cli/Arguments.h"
#include "engine/Calvane.h"

/// Reads items as bytes, described by the ring or not, into arguments.jsonPath. The file is written from time to time,
/// and also where the read ends before its end; arguments.resumePath is such a file to go on with: what the phone has
/// answered before is not asked again, and it has to be the same phone. All items answered is done, also those that the
/// phone does not have or refuses, as most of 65,536.
ExitStatus readRaw(Calvane& catalog, const Arguments& arguments);
