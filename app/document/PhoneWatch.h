#pragma once

#include "app/document/UserInterface.h"
#include "phonelink/TessraEventListener.h"

#include <functional>
#include <memory>

class TessraServer;

/// Hears from a session when the phone on its port leaves and returns, and tells it on the user-interface thread.
/// Nothing is polled.
///
/// It stays registered with the session, so it outlives the session.
class PhoneWatch : public TessraEventListener {
public:
    using Heard = std::function<void(bool present)>;

    explicit PhoneWatch(UserInterface& userInterface) : userInterface_(userInterface) {}

    /// Who is told, on the user-interface thread; an empty function: nobody. User-interface thread.
    void setHeard(Heard heard) { *heard_ = std::move(heard); }

    /// Registers with a session that is connected. A session that has failed to change its port tells nothing until a
    /// listener is added anew, so this is done after each connection. Waits for the service: not to be called on the
    /// user-interface thread. Throws TessraServer::Exception where the session can't subscribe.
    void watch(TessraServer& session);

    void onEvent(std::uint32_t dataLength, const std::uint8_t* data, std::uint32_t first, std::uint32_t second,
                 std::uint16_t third, std::uint32_t fourth) override;

private:
    UserInterface& userInterface_;
    /// What it points to is the user-interface thread's.
    const std::shared_ptr<Heard> heard_ = std::make_shared<Heard>();
};
