#include "tessra/EventHub.h"

#include "platform/kernel/Trace.h"

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

std::uint32_t EventHub::subscribe(ClientId client, const ComPtr<IEventSink>& sink) {
    lastCookie_ = lastCookie_ == 0xFFFFFFFF ? 1 : lastCookie_ + 1;
    auto subscription = std::make_shared<Subscription>();
    subscription->cookie = lastCookie_;
    subscription->client = client;
    subscription->home = com::currentApartment();
    subscription->sink = sink.get();
    subscriptions_.push_back(std::move(subscription));
    sink->addRef();
    return lastCookie_;
}

EventHub::Ended EventHub::unsubscribe(ClientId client, std::uint32_t cookie) {
    return end([=](const Subscription& each) { return each.client == client && each.cookie == cookie; });
}

EventHub::Ended EventHub::forget(ClientId client) {
    return end([=](const Subscription& each) { return each.client == client; });
}

template <class Matches>
EventHub::Ended EventHub::end(Matches matches) {
    Ended ended;
    for (const auto& subscription : subscriptions_) {
        if (matches(*subscription)) {
            subscription->active = false;
            ended.push_back(subscription);
        }
    }
    std::erase_if(subscriptions_, [&](const auto& each) { return matches(*each); });
    return ended;
}

void EventHub::releaseSinks(const Ended& ended) {
    for (const auto& subscription : ended) {
        if (com::currentApartment() == subscription->home) {
            releaseSink(*subscription);
        } else {
            com::callInApartment(subscription->home, [subscription] { releaseSink(*subscription); });
        }
    }
}

void EventHub::silence() {
    for (const auto& subscription : subscriptions_) {
        subscription->active = false;
    }
}

void EventHub::fire(EventKind kind, std::uint16_t port, std::uint16_t third,
                    std::span<const std::uint8_t> data) noexcept {
    ++lastEvent_;
    if (subscriptions_.empty()) {
        return;
    }
    try {
        const auto event = std::make_shared<const Event>(
            Event{kind, port, third, lastEvent_, std::vector<std::uint8_t>(data.begin(), data.end())});
        for (const auto& subscription : subscriptions_) {
            subscription->isHomeless = hasRoom(*subscription) && !send(subscription, event);
        }
        std::erase_if(subscriptions_, [](const auto& each) { return each->isHomeless; });
    } catch (const std::exception&) {
        kernel::logError("Tessra: an event is lost, as there is no memory for it.");
    }
}

bool EventHub::hasRoom(Subscription& subscription) {
    const std::uint32_t waiting = subscription.waiting;
    if (waiting >= kMostWaiting && !std::exchange(subscription.isBehind, true)) {
        kernel::logError("Tessra: a subscriber does not hear its events in time and misses some.");
    }
    subscription.isBehind = subscription.isBehind && waiting > kMostWaiting / 2;
    return waiting < kMostWaiting;
}

// False where the subscriber's apartment is gone.
bool EventHub::send(const std::shared_ptr<Subscription>& subscription, const std::shared_ptr<const Event>& event) {
    ++subscription->waiting;
    return com::succeeded(com::callInApartment(subscription->home, [subscription, event] {
        --subscription->waiting;
        deliver(*subscription, *event);
    }));
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

void EventHub::releaseSink(Subscription& subscription) {
    if (IEventSink* held = std::exchange(subscription.sink, nullptr)) {
        held->release();
    }
}

} // namespace tessra
