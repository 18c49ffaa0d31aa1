#pragma once

#include "tessra/PhoneLink.h"
#include "tessra/simulator/Faults.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace tessra {

/// The way to a phone that can be told to misbehave, wrapped around the real one: it takes the phone off its port and
/// puts it back, and meets clients' packets with faults. Any thread may call any method.
class FaultyLink final : public PhoneLink {
public:
    static constexpr std::size_t kLoggedPackets = 128;

    /// `putBack` is called when the phone is put back on its port. std::invalid_argument for a rule with a
    /// faultProblem().
    FaultyLink(std::shared_ptr<PhoneLink> link, bool present, const std::vector<FaultRule>& rules,
               std::function<void()> putBack);

    void start(std::function<void()> changed) override;
    void open() override { link_->open(); }
    void release() override { link_->release(); }
    void close() override;
    PhoneView look() override;
    void awaitFirstView() override { link_->awaitFirstView(); }
    std::optional<std::vector<std::uint8_t>> knownVersion() override { return link_->knownVersion(); }
    Status exchange(std::span<const std::uint8_t> request, std::uint32_t timeoutMs,
                    std::vector<std::uint8_t>& answer) override;

    /// Where clients' calls on the port pass.
    FaultGate& faults() { return gate_; }
    /// FaultGate::enter(), and what a fault does to the phone.
    Status enter(Call call, Fault& fault, std::optional<std::uint16_t> item = std::nullopt,
                 std::uint32_t timeoutMs = 0);
    /// While it lives, packets that the calling thread exchanges are a client's and meet `fault`.
    class ClientPacket {
    public:
        explicit ClientPacket(const Fault& fault) { current = &fault; }
        ~ClientPacket() { current = nullptr; }
        ClientPacket(const ClientPacket&) = delete;
        ClientPacket& operator=(const ClientPacket&) = delete;

    private:
        friend FaultyLink;
        static inline thread_local const Fault* current = nullptr;
    };

    /// Takes the phone off the port, or puts it back.
    void setPresent(bool present);
    /// Changes the phone's mode, to the loader modes too; kDifferentMode where it does not agree.
    Status setMode(PhoneMode mode);
    /// What IPhonePort::state answers instead of the truth, until it is given nothing again.
    void overrideState(std::optional<std::uint16_t> state);
    std::optional<std::uint16_t> stateOverride() const;
    /// The last packets (at most kLoggedPackets) that clients have sent to the phone, the oldest first.
    std::vector<std::vector<std::uint8_t>> sentPackets() const;

private:
    bool logIfPresent(std::span<const std::uint8_t> request, bool isClients);

    const std::shared_ptr<PhoneLink> link_;
    const std::function<void()> putBack_;
    std::function<void()> changed_; ///< constant once started
    FaultGate gate_;

    mutable std::mutex lock_; ///< guards all that follows
    bool present_;
    std::uint32_t returns_ = 0; ///< how often the phone was put back
    std::optional<std::uint16_t> stateOverride_;
    std::deque<std::vector<std::uint8_t>> sent_;
};

} // namespace tessra
