#pragma once

#include "platform/com/Apartment.h"
#include "tessra/EventThread.h"
#include "tessra/Interfaces.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace tessra {

/// Tells the clients of one port's object apart.
using ClientId = std::uint64_t;

/// The subscribers to one port's events. The owner guards it: one call at a time.
///
/// An event travels over the service's event thread into the queues of its subscribers' apartments. A subscriber that
/// does not come to hear them has kMostOnTheWay there at most; what happens beyond that it misses, which the counter of
/// the next event that it hears shows.
class EventHub {
    struct Subscription;

public:
    static constexpr std::uint32_t kMostOnTheWay = 4096;

    explicit EventHub(std::shared_ptr<EventThread> thread) : thread_(std::move(thread)) {}

    /// Subscriptions that have ended, whose sinks are still to be given back.
    using Ended = std::vector<std::shared_ptr<Subscription>>;

    /// The calling thread's apartment is where `sink` will hear. The cookie is never 0.
    std::uint32_t subscribe(ClientId client, const ComPtr<IEventSink>& sink);
    /// To be called in the apartment of the subscription: nothing is delivered to it any more once this has returned.
    /// Empty for a cookie that is not this client's. The caller hands what it gets to giveBack().
    Ended unsubscribe(ClientId client, std::uint32_t cookie);
    /// The same with all subscriptions of a client that has gone.
    Ended forget(ClientId client);
    /// Gives back the references to the sinks, each in its home: at once where that is here (events still queued find
    /// it gone), otherwise by a call that is queued there. Not to be called under the owner's lock: a sink may hold
    /// objects of this service, which take that lock when they go.
    static void giveBack(const Ended& ended);
    /// Nothing is delivered any more to those who are subscribed now. They stay subscribed, as their references to the
    /// sinks can be given back by their own calls alone.
    void silence();

    bool empty() const { return subscriptions_.empty(); }
    /// Sends an event on its way. A subscriber whose apartment is gone is dropped, at the next event at the latest.
    /// What goes wrong is logged: it is not the fault of the call in which the event happened.
    void fire(EventKind kind, std::uint16_t port, std::uint16_t third, std::span<const std::uint8_t> data) noexcept;

private:
    struct Subscription {
        std::uint32_t cookie;
        ClientId client;
        com::ApartmentId home;
        std::atomic<bool> active{true};
        std::atomic<bool> homeless{false};      ///< its apartment is gone
        std::atomic<std::uint32_t> onTheWay{0}; ///< events that it has not heard yet
        bool isBehind = false;                  ///< and it misses some; the owner's
        /// A counted reference, used and given back in its home alone. One whose home is gone is never given back: the
        /// sink may be gone as well.
        IEventSink* sink;

        Subscription(std::uint32_t cookieValue, ClientId owner, const ComPtr<IEventSink>& target);
        void releaseSink();
    };
    struct Event;
    struct Delivery;

    static bool hasRoom(Subscription& subscription);
    static void deliver(Subscription& subscription, const Event& event);

    const std::shared_ptr<EventThread> thread_;
    std::uint32_t lastCookie_ = 0;
    std::uint32_t lastEvent_ = 0;
    std::vector<std::shared_ptr<Subscription>> subscriptions_;
};

} // namespace tessra
