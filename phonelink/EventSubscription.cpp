#include "phonelink/EventSubscription.h"

#include "phonelink/ServerErrorText.h"
#include "platform/com/Apartment.h"
#include "platform/kernel/Trace.h"

#include <string>
#include <utility>

/// Passes events on to the sink until it is cut off.
class EventSubscription::Relay final : public com::Implements<tessra::IEventSink>, private com::ApartmentBound {
public:
    explicit Relay(std::shared_ptr<tessra::IEventSink> sink) : sink_(std::move(sink)) {}

    com::Status onEvent(std::uint32_t dataLength, const std::uint8_t* data, std::uint32_t first, std::uint32_t second,
                        std::uint16_t third, std::uint32_t fourth) override {
        if (const com::Status status = checkApartment(); com::failed(status)) {
            return status;
        }
        const auto sink = sink_; // the relay may be cut off while the sink hears
        return sink ? sink->onEvent(dataLength, data, first, second, third, fourth) : com::kDisconnected;
    }

    const std::shared_ptr<tessra::IEventSink>& sink() const { return sink_; }
    void cutOff() { sink_.reset(); }

private:
    ~Relay() override = default;

    std::shared_ptr<tessra::IEventSink> sink_; // null once cut off
};

EventSubscription::EventSubscription() = default;

EventSubscription::~EventSubscription() = default;

void EventSubscription::start(const com::ComPtr<tessra::IPhonePort>& phone,
                              const std::shared_ptr<tessra::IEventSink>& sink) {
    if (cookie_ != 0 && com::sameObject(subscription_, phone)) {
        return;
    }
    endQuietly();
    com::ComPtr<tessra::IEventSubscription> subscription;
    com::throwIfFailed(phone.query(subscription));
    auto relay = com::makeObject<Relay, Relay>(sink);
    std::uint32_t cookie = 0;
    com::throwIfFailed(subscription->subscribe(com::ComPtr<tessra::IEventSink>(relay.get()), cookie));
    relay_ = std::move(relay);
    subscription_ = std::move(subscription);
    cookie_ = cookie;
}

void EventSubscription::follow(const com::ComPtr<tessra::IPhonePort>& phone) {
    if (cookie_ != 0) {
        start(phone, std::shared_ptr<tessra::IEventSink>(relay_->sink()));
    }
}

void EventSubscription::end() {
    if (cookie_ == 0) {
        return;
    }
    std::exchange(relay_, nullptr)->cutOff();
    const auto subscription = std::exchange(subscription_, nullptr);
    com::throwIfFailed(subscription->unsubscribe(std::exchange(cookie_, 0)));
}

void EventSubscription::endQuietly() {
    const std::string prefix = "TessraServer::disconnectFromTessraEvents - ";
    try {
        end();
    } catch (const com::ComError& error) {
        kernel::logError(prefix + serverErrorText(error));
    } catch (...) {
        kernel::logError(prefix + kCannotEnd);
    }
}
