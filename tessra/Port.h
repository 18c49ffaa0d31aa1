#pragma once

#include "tessra/EventHub.h"
#include "tessra/EventThread.h"
#include "tessra/Faults.h"
#include "tessra/PhoneLink.h"
#include "tessra/ServiceConfig.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tessra {

/// One port of the service with the phone behind it: what all its clients share. The service owns it and closes it when
/// it ends; clients' objects keep it alive, closed. Any thread may call any method.
class Port {
public:
    /// `thread` carries the events, and calls watch() when it is woken.
    Port(const PortConfig& config, std::shared_ptr<EventThread> thread);
    ~Port() { close(); }
    /// From now on every call of a client answers com::kDisconnected, and the phone with its memory is let go.
    void close();

    const std::string& name() const { return name_; }
    std::uint16_t number() const { return number_; }
    /// Makes the identity of one more client.
    ClientId newClient();

    /// What clients ask for; a failure's description stands ready when a call has returned it (see Refusal.h).
    /// Interfaces.h says what they answer.
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
    /// Tells the subscribers, if there are any, what has changed with the phone; when to do so again.
    std::optional<std::chrono::steady_clock::time_point> watch();
    /// The client has gone: its lock and its subscriptions go too.
    void forget(ClientId client);

    /// For tests and trials, while clients work.
    /// Takes the phone off the port, or puts it back.
    void setPresent(bool present);
    /// Changes the phone's mode, to the loader modes too; kDifferentMode where it does not agree.
    Status setMode(PhoneMode mode);
    /// What IPhonePort::state answers instead of the truth, until it is given nothing again.
    void overrideState(std::optional<std::uint16_t> state);
    FaultGate& faults() { return gate_; }
    /// The last packets (at most kLoggedPackets) that clients have sent to the phone, the oldest first.
    std::vector<std::vector<std::uint8_t>> sentPackets() const;

    static constexpr std::size_t kLoggedPackets = 128;

private:
    struct LoggedPacket {
        std::array<std::uint8_t, kMaxPacketBytes> bytes;
        std::size_t length;
    };

    Status enter(Call call, Strike& strike, std::optional<std::uint16_t> item = std::nullopt,
                 std::uint32_t timeoutMs = 0);
    void awaitFirstView();
    PhoneView lookLocked();
    Status mayTalkLocked(ClientId client);
    Status ask(std::span<const std::uint8_t> request, std::vector<std::uint8_t>& answer);
    void logLocked(std::span<const std::uint8_t> packet);
    void fireNamedLocked(EventKind kind, PhoneMode mode);
    void noteAnswer(std::span<const std::uint8_t> request, std::span<const std::uint8_t> answer);

    const std::string name_;
    const std::uint16_t number_;
    const std::shared_ptr<EventThread> thread_;
    FaultGate gate_;

    mutable std::mutex lock_;         ///< guards all that follows; never held during an exchange with the phone
    std::shared_ptr<PhoneLink> link_; ///< null once closed
    PhoneView seen_;                  ///< the link's view when it was last looked at
    std::uint32_t answered_ = 0;      ///< packets that the phone has answered since it appeared
    ClientId lastClient_ = 0;
    ClientId locker_ = 0; ///< 0: nobody
    std::optional<std::uint16_t> stateOverride_;
    EventHub events_;
    std::vector<LoggedPacket> log_; ///< a ring, once it is full
    std::size_t logNext_ = 0;       ///< where the next packet goes
};

} // namespace tessra
