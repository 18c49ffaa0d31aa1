#pragma once

#include "tessra/simulator/ConfigTable.h"
#include "tessra/simulator/Faults.h"

#include <vector>

namespace tessra {

/// The fault rules of a configuration file that stand as [[fault]] in `table`, a port's or the whole file's.
/// ConfigError for a key, a value or a rule that can't be.
std::vector<FaultRule> readFaults(ConfigTable& table, FaultScope scope);

} // namespace tessra
