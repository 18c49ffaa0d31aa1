#include "platform/com/Apartment.h"

#include "platform/kernel/Thread.h"
#include "platform/window/MessageQueue.h"

#include <map>
#include <mutex>
#include <utility>

namespace com {
namespace {

struct ThreadApartment {
    ApartmentId id = 0;
    std::uint32_t entries = 0;
};

ThreadApartment& threadApartment() {
    thread_local ThreadApartment apartment;
    return apartment;
}

// The threads behind the apartments that exist now.
struct ApartmentTable {
    std::mutex lock;
    ApartmentId lastId = 0;                          // guarded by lock
    std::map<ApartmentId, kernel::ThreadId> threads; // guarded by lock
};

ApartmentTable& table() {
    static ApartmentTable apartments;
    return apartments;
}

} // namespace

Status enterApartment() {
    ThreadApartment& own = threadApartment();
    if (own.entries == 0) {
        // From now on calls can be posted to this thread, even before it first looks for them.
        window::createQueue();
        const std::lock_guard guard(table().lock);
        own.id = ++table().lastId;
        table().threads.emplace(own.id, kernel::currentThreadId());
    }
    return own.entries++ == 0 ? kOk : kFalse;
}

void leaveApartment() {
    ThreadApartment& own = threadApartment();
    if (own.entries == 0 || --own.entries > 0) {
        return;
    }
    const std::lock_guard guard(table().lock);
    table().threads.erase(std::exchange(own.id, 0));
}

ApartmentId currentApartment() {
    return threadApartment().id;
}

Status callInApartment(ApartmentId apartment, std::function<void()> call) {
    kernel::ThreadId home;
    {
        const std::lock_guard guard(table().lock);
        const auto found = table().threads.find(apartment);
        if (found == table().threads.end()) {
            return kDisconnected;
        }
        home = found->second;
    }
    // Outside the lock, since a call that can't be posted is destroyed here, with all that it holds.
    return window::post(home, std::move(call)) ? kOk : kDisconnected;
}

Status ApartmentBound::checkApartment() const {
    const ApartmentId here = currentApartment();
    if (here == 0) {
        return kNotInitialized;
    }
    return here == home_ ? kOk : kWrongThread;
}

} // namespace com
