#pragma once

#include "tessra/Interfaces.h"

#include <cstdint>
#include <memory>

/// A session's subscription to the events of the phone that it is attached to. Owned by the session's ServerLink; lives
/// on the COM worker thread alone.
///
/// The service is not given the sink itself but a counted stand-in, which is cut off when the subscription ends: what
/// the service still holds of it then, or holds by mistake, leads nowhere.
class EventSubscription {
public:
    EventSubscription();
    ~EventSubscription();
    EventSubscription(const EventSubscription&) = delete;
    EventSubscription& operator=(const EventSubscription&) = delete;

    /// Subscribes `sink`, which is kept alive meanwhile, to the events of `phone`. Does nothing where that phone's
    /// events are subscribed to already. Throws com::ComError, with nothing subscribed.
    void start(const com::ComPtr<tessra::IPhonePort>& phone, const std::shared_ptr<tessra::IEventSink>& sink);

    /// Moves a subscription that stands to the events of `phone`; without one it does nothing. Throws as start() does.
    void follow(const com::ComPtr<tessra::IPhonePort>& phone);

    /// The text for a failure to end that is no COM error.
    static constexpr const char* kCannotEnd = "Unable to disconnect from the Tessra Server Events";

    /// Ends the subscription; without one it does nothing. The sink hears nothing from now on, also when the service
    /// refuses, which throws com::ComError.
    void end();
    /// The same; a refusal is logged as the session's.
    void endQuietly();

private:
    class Relay;

    /// All three are there while a subscription stands, and none otherwise.
    com::ComPtr<Relay> relay_;
    com::ComPtr<tessra::IEventSubscription> subscription_; ///< its phone's, whichever phone the session has by now
    std::uint32_t cookie_ = 0;
};
