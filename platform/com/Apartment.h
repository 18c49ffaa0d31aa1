#pragma once

#include "platform/com/Status.h"

#include <cstdint>
#include <functional>

namespace com {

/// A single-threaded apartment is the home that a thread gives to the objects made on it: they are called on that
/// thread alone. 0 stands for no apartment; a number is never given out twice in a process.
using ApartmentId = std::uint64_t;

/// Puts the calling thread into an apartment of its own. Counted: kOk for the first call of a thread, kFalse for one
/// more; each needs its leaveApartment(). Objects made in the apartment must be released before the last leave.
Status enterApartment();
void leaveApartment();

/// The calling thread's apartment, 0 where it has none.
ApartmentId currentApartment();

/// Posts `call` to the thread whose apartment is `apartment`; it runs there when that thread next dispatches its
/// messages. kDisconnected where the apartment is gone.
Status callInApartment(ApartmentId apartment, std::function<void()> call);

/// The part of an object that remembers the apartment in which it was made. Every interface method of such an object
/// answers checkApartment()'s failure first, so that a call from a wrong thread is refused instead of racing.
class ApartmentBound {
protected:
    ApartmentBound() : home_(currentApartment()) {}
    ~ApartmentBound() = default;

    /// kOk in the object's own apartment, kNotInitialized on a thread that is in none, kWrongThread in another.
    Status checkApartment() const;

private:
    ApartmentId home_;
};

} // namespace com
