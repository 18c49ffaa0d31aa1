#pragma once

#include "platform/com/Apartment.h"
#include "tessra/Interfaces.h"
#include "tessra/Service.h"

#include <memory>

/// The objects that clients hold, each in the apartment in which it was made. They have no state that matters: what
/// clients share is in Service and Port.
namespace tessra {

/// What every object of the service has: it belongs to an apartment and to a service, and refuses calls from elsewhere
/// and after the service's end.
class ServiceObject : protected com::ApartmentBound {
protected:
    explicit ServiceObject(std::shared_ptr<Service> service) : service_(std::move(service)) {}

    Status checkCaller() const {
        if (const Status status = checkApartment(); com::failed(status)) {
            return failWith(status, "The object belongs to another apartment.");
        }
        return service_->isClosed() ? failWith(com::kDisconnected, "The phone service has ended.") : com::kOk;
    }

    const std::shared_ptr<Service> service_;
};

/// The root object and the client registry, as the class table makes them.
Status makeServer(const std::shared_ptr<Service>& service, ComPtr<com::Unknown>& out);
Status makeClientRegistry(const std::shared_ptr<Service>& service, ComPtr<com::Unknown>& out);

/// One client's view of `port`; its lock and its subscriptions last as long as this object.
ComPtr<IPhonePort> makePhonePort(const std::shared_ptr<Service>& service, const std::shared_ptr<Port>& port);

} // namespace tessra
