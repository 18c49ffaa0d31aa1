#pragma once

#include "platform/com/ComError.h"
#include "tessra/EventHub.h"
#include "tessra/PhoneLink.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tessra {

/// Answers `status`, and leaves its description for the client: the end of a method that fails.
inline Status failWith(Status status, std::string_view description) {
    return com::failWith(status, "Tessra", description);
}

/// One port of the service with the phone behind it: what all its clients share. The service owns it and closes it when
/// it ends; clients' objects keep it alive, closed. Any thread may call any method. It is open while somebody has a
/// PortUse of it; before and after, it has no phone.
class Port {
public:
    Port(std::string name, std::uint16_t number, std::shared_ptr<PhoneLink> link);
    ~Port() { close(); }
    /// From now on the port has no phone, and its link with all that it holds is let go.
    void close();

    const std::string& name() const { return name_; }
    std::uint16_t number() const { return number_; }
    /// Makes the identity of one more client.
    ClientId newClient();

    /// What clients ask for. Interfaces.h says what they answer.
    Status describe(PortDescription& description);
    Status describePhone(PhoneDescription& description);
    /// kPhoneNotPresent unless the port has a phone.
    Status requirePhone();
    Status send(ClientId client, std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                std::vector<std::uint8_t>& answer);
    Status changeMode(ClientId client, std::uint16_t mode);
    Status lock(ClientId client);
    Status unlock(ClientId client);
    Status mode(std::uint16_t& mode);
    Status state(std::uint16_t& state);
    Status sendCode(ClientId client, const std::string& code);
    Status subscribe(ClientId client, const ComPtr<IEventSink>& sink, std::uint32_t& cookie);
    Status unsubscribe(ClientId client, std::uint32_t cookie);
    /// The client has gone: its lock and its subscriptions go too.
    void forget(ClientId client);

private:
    friend class PortUse;

    void addUser();
    void removeUser();
    std::shared_ptr<PhoneLink> currentLink();
    void awaitFirstView();
    PhoneView lookLocked();
    Status mayTalkLocked(ClientId client);
    Status ask(std::span<const std::uint8_t> request, std::vector<std::uint8_t>& answer);
    void fireNamedLocked(EventKind kind, PhoneMode mode);
    void countAnswer(std::span<const std::uint8_t> request, std::span<const std::uint8_t> answer);

    const std::string name_;
    const std::uint16_t number_;

    std::mutex useLock_; ///< guards users_, also while the link opens or lets go; taken before lock_
    unsigned users_ = 0;
    std::mutex lock_; ///< guards all that follows; never held during an exchange with the phone
    bool isOpen_ = false;
    std::shared_ptr<PhoneLink> link_; ///< null once closed
    PhoneView seen_;                  ///< the link's view when it was last looked at
    std::uint32_t answered_ = 0;      ///< packets that the phone has answered since it appeared
    ClientId lastClient_ = 0;
    ClientId locker_ = 0; ///< 0: nobody
    EventHub events_;
};

/// Keeps a port open while it lives.
class PortUse {
public:
    explicit PortUse(std::shared_ptr<Port> port) : port_(std::move(port)) { port_->addUser(); }
    ~PortUse() { port_->removeUser(); }
    PortUse(const PortUse&) = delete;
    PortUse& operator=(const PortUse&) = delete;

private:
    const std::shared_ptr<Port> port_;
};

} // namespace tessra
