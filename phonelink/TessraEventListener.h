#pragma once

#include <cstdint>

/// Hears the events of the phone that a session is attached to; see TessraServer::addEventListener. The six values are
/// those of tessra::IEventSink::onEvent, and `data` is valid during the call only.
///
/// Called on the session's notifier thread, one call at a time. It may use the session's other members, but not add or
/// remove listeners of that session, itself included, which is refused with an exception; and it must not destroy the
/// session. Who removes a listener, destroys the session, or changes its port in vain waits for the call that is under
/// way: a listener must not wait for that thread. What it throws is logged, and the others still hear.
class TessraEventListener {
public:
    virtual ~TessraEventListener() = default;
    virtual void onEvent(std::uint32_t dataLength, const std::uint8_t* data, std::uint32_t first, std::uint32_t second,
                         std::uint16_t third, std::uint32_t fourth) = 0;
};

/// Chooses the events for the listener that it is registered with. Called like a listener; the same rules hold.
class TessraEventFilter {
public:
    virtual ~TessraEventFilter() = default;
    /// Whether the listener hears this event. An event whose filter throws is not heard.
    virtual bool accepts(std::uint32_t dataLength, const std::uint8_t* data, std::uint32_t first, std::uint32_t second,
                         std::uint16_t third, std::uint32_t fourth) = 0;
};
