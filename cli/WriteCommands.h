#pragma once

#include "cli/Arguments.h"
#include "engine/Calvane.h"

/// The verbs that write to a phone. Each reads back what it wrote: what counts is what the phone has then, not what it
/// was sent. Each answers the program's exit status, and throws what the catalog or a file refuses.
int setItem(Calvane& catalog, const Arguments& arguments);
int writePhone(Calvane& catalog, const Arguments& arguments);
