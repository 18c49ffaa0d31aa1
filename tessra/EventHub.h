#pragma once

#include "platform/com/Apartment.h"
#include "tessra/Interfaces.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace tessra {

/// Tells the clients of one port's object apart.
using ClientId = std::uint64_t;

/// The subscribers to one port's events. The port owns it and guards it: one call at a time.
///
/// An event is queued in the apartments of its subscribers while the call in which it happened is still under way. At
/// most kMostWaiting events wait there for one subscriber; it misses what happens beyond that, which the counter of the
/// next event that it hears shows.
class EventHub {
    struct Subscription;

public:
    static constexpr std::uint32_t kMostWaiting = 4096;

    /// Subscriptions that have ended, whose sinks are still to be released.
    using Ended = std::vector<std::shared_ptr<Subscription>>;

    /// The calling thread's apartment is where `sink` will hear. The cookie is never 0.
    std::uint32_t subscribe(ClientId client, const ComPtr<IEventSink>& sink);
    /// To be called in the apartment of the subscription: its sink hears nothing any more once this has returned. Empty
    /// for a cookie that is not this client's. The caller hands what it gets to releaseSinks().
    Ended unsubscribe(ClientId client, std::uint32_t cookie);
    /// The same with all subscriptions of a client that has gone.
    Ended forget(ClientId client);
    /// Releases the sinks, each in its home: at once where that is here (events still queued find it gone), otherwise
    /// by a call that is queued there. Not to be called under the port's lock: a sink may hold objects of this service,
    /// which take that lock when they go.
    static void releaseSinks(const Ended& ended);
    /// Those who are subscribed now hear nothing any more. They stay subscribed, as their sinks can be released by
    /// their own calls alone.
    void silence();

    /// Queues an event for each subscriber. One whose apartment is gone is dropped. What goes wrong is logged: it is
    /// not the fault of the call in which the event happened.
    void fire(EventKind kind, std::uint16_t port, std::uint16_t third, std::span<const std::uint8_t> data) noexcept;

private:
    struct Event;
    struct Subscription {
        std::uint32_t cookie;
        ClientId client;
        com::ApartmentId home;
        /// A counted reference, used and released in its home alone. One whose home is gone is never released: the sink
        /// may be gone as well.
        IEventSink* sink;
        std::atomic<bool> active{true};
        std::atomic<std::uint32_t> waiting{0}; ///< events queued in its home
        bool isBehind = false;                 ///< it misses some
        bool isHomeless = false;               ///< its apartment is gone
    };

    template <class Matches>
    Ended end(Matches matches);
    static bool hasRoom(Subscription& subscription);
    static bool send(const std::shared_ptr<Subscription>& subscription, const std::shared_ptr<const Event>& event);
    static void deliver(Subscription& subscription, const Event& event);
    static void releaseSink(Subscription& subscription);

    std::uint32_t lastCookie_ = 0;
    std::uint32_t lastEvent_ = 0;
    std::vector<std::shared_ptr<Subscription>> subscriptions_;
};

} // namespace tessra
