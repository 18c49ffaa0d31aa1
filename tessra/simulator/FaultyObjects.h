#pragma once

#include "platform/com/ClassTable.h"
#include "tessra/simulator/FaultyLink.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace tessra {

/// The faults of one service. Any thread may call any method.
class ServiceFaults {
public:
    explicit ServiceFaults(const std::vector<FaultRule>& rules) : gate(FaultScope::kService, rules) {}

    Status enter(Call call, Fault& fault) { return gate.enter(call, fault); }

    /// The link of the port with this number; null where there is none. Each port's is added before the port.
    std::shared_ptr<FaultyLink> phone(std::uint16_t number) const {
        const std::lock_guard guard(lock_);
        const auto found = phones_.find(number);
        return found == phones_.end() ? nullptr : found->second;
    }
    void addPhone(std::uint16_t number, const std::shared_ptr<FaultyLink>& phone) {
        const std::lock_guard guard(lock_);
        phones_.emplace(number, phone);
    }

    FaultGate gate; ///< of the calls that belong to no port

private:
    mutable std::mutex lock_;
    std::map<std::uint16_t, std::shared_ptr<FaultyLink>> phones_; ///< guarded by lock_
};

/// What the class table makes instead of the objects of `makeServer` and `makeRegistry`: objects that pass each call on
/// to those, unless a fault meets it, and wrap all objects that those hand out.
com::ClassFactory faultyServers(const std::shared_ptr<ServiceFaults>& faults, const com::ClassFactory& makeServer);
com::ClassFactory faultyRegistries(const std::shared_ptr<ServiceFaults>& faults, const com::ClassFactory& makeRegistry);

} // namespace tessra
