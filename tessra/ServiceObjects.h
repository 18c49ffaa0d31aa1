#pragma once

#include "platform/com/Apartment.h"
#include "tessra/Interfaces.h"
#include "tessra/Refusal.h"
#include "tessra/ServiceCore.h"

#include <memory>

/// The objects that clients hold, each in the apartment in which it was made. They have no state that matters: what
/// clients share is in ServiceCore and Port.
namespace tessra {

/// What every object of the service has: it belongs to an apartment and refuses calls from elsewhere.
class ServiceObject : protected com::ApartmentBound {
protected:
    Status checkCaller() const {
        const Status status = checkApartment();
        return com::succeeded(status) ? status : refuse(status, "The object belongs to another apartment.");
    }
};

/// The root object and the client registry, as the class table makes them.
Status makeServer(const std::shared_ptr<ServiceCore>& core, ComPtr<com::Unknown>& out);
Status makeClientRegistry(const std::shared_ptr<ServiceCore>& core, ComPtr<com::Unknown>& out);

ComPtr<IPhonePort> makePhonePort(const std::shared_ptr<Port>& port);

} // namespace tessra
