#pragma once

#include "tessra/Faults.h"
#include "tessra/Port.h"
#include "tessra/ServiceConfig.h"
#include "tessra/ServiceCore.h"

#include <memory>
#include <string_view>
#include <vector>

namespace tessra {

/// The phone service, hosted in this process for as long as this object lives: kServerClass and kClientRegistryClass
/// are in the class table (in-process and local contexts), and a window of class kTaskWindowClass exists if the
/// configuration wants it. The program owns it; any thread may call it. When it goes, the phones' memories are closed,
/// and the objects that clients still hold answer com::kDisconnected.
class Service {
public:
    /// A port whose phone can't be had (its memory is wrong, or in use) is there without it; the error log says why.
    /// std::invalid_argument for a configuration with a rule that has a faultProblem().
    explicit Service(const ServiceConfig& config);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// A port, to be controlled while clients use it; it must not be used when the service has gone. std::out_of_range
    /// for a name that no port has.
    Port& port(std::string_view name);
    /// The faults and the call counts of the calls that belong to no port.
    FaultGate& faults();
    /// The registered clients, by ascending handle.
    std::vector<RegisteredClient> clients() const;

private:
    struct Hosting;

    std::shared_ptr<ServiceCore> core_;
    std::unique_ptr<Hosting> hosting_;
};

} // namespace tessra
