#pragma once

#include "workbench/Baseline.h"

#include <QString>

/// Where and when values were found, as "MODEL SERIAL on COM1, 09:30" or "bench.mox, 09:30"; with the date where it is
/// not today's.
QString sourceText(const workbench::Source& source);
