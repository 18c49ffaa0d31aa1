#pragma once

#include "platform/com/ClassTable.h"
#include "tessra/simulator/FaultyLink.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

namespace tessra {

/// The faults of one service. Its ports' links are those of `phones`.
struct ServiceFaults {
    explicit ServiceFaults(const std::vector<FaultRule>& rules) : gate(FaultScope::kService, rules) {}

    Status enter(Call call, Fault& fault) { return gate.enter(call, fault); }

    FaultGate gate;                                              ///< of the calls that belong to no port
    std::map<std::uint16_t, std::shared_ptr<FaultyLink>> phones; ///< by port number, all of them
};

/// What the class table makes instead of the objects of `makeServer` and `makeRegistry`: objects that pass each call on
/// to those, unless a fault meets it, and wrap all objects that those hand out.
com::ClassFactory faultyServers(const std::shared_ptr<ServiceFaults>& faults, const com::ClassFactory& makeServer);
com::ClassFactory faultyRegistries(const std::shared_ptr<ServiceFaults>& faults, const com::ClassFactory& makeRegistry);

} // namespace tessra
