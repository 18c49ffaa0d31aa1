#include "tessra/EventHub.h"

#include "platform/kernel/Trace.h"

#include <algorithm>
#include <string>
#include <utility>

namespace tessra {

struct EventHub::Event {
    EventKind kind;
    std::uint16_t port;
    std::uint16_t third;
    std::uint32_t counter;
    std::vector<std::uint8_t> data;
};

/// One event on its way to one subscriber.
struct EventHub::Delivery {
    Delivery(std::shared_ptr<Subscription> target, std::shared_ptr<const Event> what)
        : subscription(std::move(target)), event(std::move(what)) {
        ++subscription->onTheWay;
    }
    ~Delivery() { --subscription->onTheWay; }
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;

    /// Posts it to the subscriber's apartment.
    static void send(const std::shared_ptr<Delivery>& delivery) {
        Subscription& target = *delivery->subscription;
        const auto hear = [delivery] { deliver(*delivery->subscription, *delivery->event); };
        try {
            if (com::failed(com::callInApartment(target.home, hear))) {
                target.homeless = true;
            }
        } catch (const std::exception&) {
            kernel::logError("Tessra: an event is lost, as there is no memory for it.");
        }
    }

    const std::shared_ptr<Subscription> subscription;
    const std::shared_ptr<const Event> event;
};

EventHub::Subscription::Subscription(std::uint32_t cookieValue, ClientId owner, const ComPtr<IEventSink>& target)
    : cookie(cookieValue), client(owner), home(com::currentApartment()), sink(target.get()) {
    sink->addRef();
}

void EventHub::Subscription::releaseSink() {
    if (IEventSink* held = std::exchange(sink, nullptr)) {
        held->release();
    }
}

std::uint32_t EventHub::subscribe(ClientId client, const ComPtr<IEventSink>& sink) {
    lastCookie_ = lastCookie_ == 0xFFFFFFFF ? 1 : lastCookie_ + 1;
    subscriptions_.push_back(std::make_shared<Subscription>(lastCookie_, client, sink));
    return lastCookie_;
}

EventHub::Ended EventHub::unsubscribe(ClientId client, std::uint32_t cookie) {
    const auto found = std::find_if(subscriptions_.begin(), subscriptions_.end(),
                                    [&](const auto& each) { return each->cookie == cookie && each->client == client; });
    if (found == subscriptions_.end()) {
        return {};
    }
    (*found)->active = false;
    Ended ended{std::move(*found)};
    subscriptions_.erase(found);
    return ended;
}

EventHub::Ended EventHub::forget(ClientId client) {
    Ended ended;
    std::erase_if(subscriptions_, [&](const auto& each) {
        if (each->client != client) {
            return false;
        }
        each->active = false;
        ended.push_back(each);
        return true;
    });
    return ended;
}

void EventHub::silence() {
    for (const auto& subscription : subscriptions_) {
        subscription->active = false;
    }
}

void EventHub::fire(EventKind kind, std::uint16_t port, std::uint16_t third,
                    std::span<const std::uint8_t> data) noexcept {
    ++lastEvent_;
    std::erase_if(subscriptions_, [](const auto& each) { return each->homeless.load(); });
    if (subscriptions_.empty()) {
        return;
    }
    try {
        const auto event = std::make_shared<const Event>(
            Event{kind, port, third, lastEvent_, std::vector<std::uint8_t>(data.begin(), data.end())});
        for (const auto& subscription : subscriptions_) {
            if (hasRoom(*subscription)) {
                auto delivery = std::make_shared<Delivery>(subscription, event);
                thread_->post([delivery = std::move(delivery)] { Delivery::send(delivery); });
            }
        }
    } catch (const std::exception&) {
        kernel::logError("Tessra: an event is lost, as there is no memory for it.");
    }
}

bool EventHub::hasRoom(Subscription& subscription) {
    const std::uint32_t onTheWay = subscription.onTheWay;
    if (onTheWay >= kMostOnTheWay && !std::exchange(subscription.isBehind, true)) {
        kernel::logError("Tessra: a subscriber does not hear its events in time and misses some.");
    }
    subscription.isBehind = subscription.isBehind && onTheWay > kMostOnTheWay / 2;
    return onTheWay < kMostOnTheWay;
}

void EventHub::giveBack(const Ended& ended) {
    for (const auto& subscription : ended) {
        if (com::currentApartment() == subscription->home) {
            subscription->releaseSink();
        } else {
            com::callInApartment(subscription->home, [subscription] { subscription->releaseSink(); });
        }
    }
}

void EventHub::deliver(Subscription& subscription, const Event& event) {
    if (!subscription.active || subscription.sink == nullptr) {
        return;
    }
    const ComPtr<IEventSink> sink(subscription.sink); // the sink may unsubscribe while it hears
    try {
        sink->onEvent(static_cast<std::uint32_t>(event.data.size()), event.data.data(),
                      static_cast<std::uint32_t>(event.kind), event.port, event.third, event.counter);
    } catch (const std::exception& problem) {
        kernel::logError(std::string("Tessra: an event sink threw: ") + problem.what());
    } catch (...) {
        kernel::logError("Tessra: an event sink threw something unknown");
    }
}

} // namespace tessra
