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

bool EventHub::unsubscribe(ClientId client, std::uint32_t cookie) {
    const auto found = std::find_if(subscriptions_.begin(), subscriptions_.end(),
                                    [&](const auto& each) { return each->cookie == cookie && each->client == client; });
    if (found == subscriptions_.end()) {
        return false;
    }
    end(*found);
    subscriptions_.erase(found);
    return true;
}

void EventHub::forget(ClientId client) {
    std::erase_if(subscriptions_, [client](const auto& each) {
        if (each->client == client) {
            end(each);
        }
        return each->client == client;
    });
}

void EventHub::silence() {
    for (const auto& subscription : subscriptions_) {
        subscription->active = false;
    }
}

void EventHub::fire(EventKind kind, std::uint16_t port, std::uint16_t third, std::span<const std::uint8_t> data) {
    ++lastEvent_;
    if (subscriptions_.empty()) {
        return;
    }
    const auto event = std::make_shared<const Event>(
        Event{kind, port, third, lastEvent_, std::vector<std::uint8_t>(data.begin(), data.end())});
    std::erase_if(subscriptions_, [&](const auto& each) {
        return com::failed(com::callInApartment(each->home, [each, event] { deliver(*each, *event); }));
    });
}

// The reference to the sink goes in its home: at once where that is here (events still queued find it gone), otherwise
// by a call that is queued there.
void EventHub::end(const std::shared_ptr<Subscription>& subscription) {
    subscription->active = false;
    if (com::currentApartment() == subscription->home) {
        subscription->releaseSink();
    } else {
        com::callInApartment(subscription->home, [subscription] { subscription->releaseSink(); });
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
