#pragma once

#include "platform/com/ComPtr.h"

#include <cstdint>
#include <string>
#include <vector>

/// The Tessra phone service as its clients see it: interfaces by role, each method answering a status code. Whoever
/// talks to phones (phonelink/) knows the service through this header alone. All objects belong to the apartment in
/// which they were made: a call from elsewhere answers com::kNotInitialized or com::kWrongThread. A failed call leaves
/// its outputs empty or zero, unless it says otherwise.
///
/// The service's own failures have facility 4 and the low 16 bits 0x2001 to 0x200A and 0x2014 to 0x2016, whose texts
/// the session owns, and 0x202A for a phone in a mode that takes no packets.
namespace tessra {

using com::ComPtr;
using com::Status;

inline constexpr Status kPacketTooLong = com::makeStatus(0x80042001);
inline constexpr Status kFramingError = com::makeStatus(0x80042002);
inline constexpr Status kCheckSequenceError = com::makeStatus(0x80042003);
inline constexpr Status kWriteFailure = com::makeStatus(0x80042004);
inline constexpr Status kResponseTimeout = com::makeStatus(0x80042005);
inline constexpr Status kZeroTimeout = com::makeStatus(0x80042006);
inline constexpr Status kInvalidBaudRate = com::makeStatus(0x80042007);
inline constexpr Status kBadPhoneResponse = com::makeStatus(0x80042008);
inline constexpr Status kDifferentMode = com::makeStatus(0x80042009);
inline constexpr Status kPhoneNotPresent = com::makeStatus(0x8004200A);
inline constexpr Status kLockedForExclusiveUse = com::makeStatus(0x80042014);
inline constexpr Status kUnlockByOther = com::makeStatus(0x80042015);
inline constexpr Status kLockTimeout = com::makeStatus(0x80042016);
inline constexpr Status kBadPhoneMode = com::makeStatus(0x8004202A);

/// The largest packet that goes to a phone or comes from it, in bytes.
inline constexpr std::uint32_t kMaxPacketBytes = 256;

/// What a phone is doing, as IPhonePort::mode answers it and IPhonePort::changeMode takes it. A phone in modes 2 and 6
/// runs its loader: it is there, but takes no packets of the kinds that this program sends.
enum class PhoneMode : std::uint16_t {
    kNone = 0,
    kOnline = 1,
    kDownload = 2,
    kOffline = 4,
    kReset = 5,
    kStreamDownload = 6,
};

/// How far the service has got with the phone on a port, as IPhonePort::state answers it.
enum class PhoneState : std::uint16_t {
    kNone = 0,
    kSearching = 1,
    kLeaving = 2,
    kReturning = 3,
    kPresent = 5,
};

/// PortDescription::state of a port that carries a phone.
inline constexpr std::uint16_t kPortWithPhone = 2;

struct PortDescription {
    std::uint16_t state = 0; ///< 0 no phone, 1 the port is not open or can't be used now, 2 a phone is present
    std::string portName;    ///< such as "COM3"
    std::string problem;     ///< why it can't be used, or could not be when last open: "DEVICE: can't be opened: ..."
};

struct PhoneDescription {
    PhoneMode mode = PhoneMode::kNone;
    bool answering = false;          ///< the flag: the phone has answered its last version request
    std::uint32_t answeredCount = 0; ///< the count: packets that this phone has answered since it appeared
    std::string model;               ///< the three description texts, in the order in which clients receive them
    std::string softwareVersion;
    std::string serialNumber;
};

/// Receives a phone's events, in the apartment of the client that subscribed, in the order in which they happened. The
/// six values:
///   first                  second       third                    fourth                 data
///   1 phoneAppeared        the port's   the phone's mode         counts this port's     the port's name
///   2 phoneLeft            number       the mode it was in       events, from 1, heard  the port's name
///   3 modeChanged                       the phone's new mode     or not: a gap shows    the port's name
///   4 packetExchanged                   the request's command    events not heard       the answer
/// A packet is exchanged when the phone has answered one of a client's, or one that the service sent for a client's
/// changeMode(), sendCode() or describePhone(). The answer is the whole packet as the client got it, without the
/// request; one to the service programming code that is more than a verdict is cut to its first byte, as it may repeat
/// the code. What a serial line asks by itself to know whether there is a phone is no event. A client that does not
/// dispatch its messages misses what happens beyond some thousand events.
class IEventSink : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x6b1f0c52e7a94d01, 0xa7c3194e08d25f31};
    virtual Status onEvent(std::uint32_t dataLength, const std::uint8_t* data, std::uint32_t first,
                           std::uint32_t second, std::uint16_t third, std::uint32_t fourth) = 0;

protected:
    ~IEventSink() = default;
};

enum class EventKind : std::uint32_t { kPhoneAppeared = 1, kPhoneLeft = 2, kModeChanged = 3, kPacketExchanged = 4 };

/// A phone's event subscription; had by a query of the phone port.
class IEventSubscription : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x6b1f0c52e7a94d02, 0xa7c3194e08d25f31};
    /// `cookie` is never 0 after a success.
    virtual Status subscribe(const ComPtr<IEventSink>& sink, std::uint32_t& cookie) = 0;
    /// com::kInvalidArgument for a cookie that is not subscribed.
    virtual Status unsubscribe(std::uint32_t cookie) = 0;

protected:
    ~IEventSubscription() = default;
};

/// Sends one packet and waits for its answer; had by a query of the phone port.
class ISyncSend : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x6b1f0c52e7a94d03, 0xa7c3194e08d25f31};
    /// `responseLength` is the capacity of `response` on entry and the length of the answer on return, at most
    /// kMaxPacketBytes; an answer longer than the capacity fails with kPacketTooLong. `priority` is 1 and `reserved` 0
    /// in every call. Failures: kPacketTooLong (a request of more than 256 bytes), kZeroTimeout, kResponseTimeout,
    /// kBadPhoneResponse (the phone refused the packet as such), kPhoneNotPresent, kLockedForExclusiveUse,
    /// kBadPhoneMode, and the line's kFramingError, kCheckSequenceError, kWriteFailure.
    virtual Status sendSync(std::uint32_t requestLength, const std::uint8_t* request, std::uint32_t priority,
                            std::uint32_t reserved, std::uint32_t timeoutMs, std::uint16_t& responseLength,
                            std::uint8_t* response) = 0;

protected:
    ~ISyncSend() = default;
};

/// The phone's access control; had by a query of the phone port's sub-object 12.
class ISecurity : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x6b1f0c52e7a94d04, 0xa7c3194e08d25f31};
    /// Sends the service programming code (kind 0, reserved 0). com::kAccessDenied where the phone does not accept it.
    virtual Status sendCode(std::uint32_t kind, const std::string& code, std::uint32_t reserved) = 0;

protected:
    ~ISecurity() = default;
};

inline constexpr std::uint32_t kSecuritySubObject = 12;

/// One client's view of the phone on one port.
class IPhonePort : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x6b1f0c52e7a94d05, 0xa7c3194e08d25f31};
    /// Asks the phone to change to PhoneMode::kOffline or PhoneMode::kReset and returns once it has agreed; other codes
    /// are com::kInvalidArgument. After a reset the phone leaves and comes back by itself.
    virtual Status changeMode(std::uint16_t mode) = 0;
    /// Reserves the phone for this client (`exclusive` is 1): others' packets then fail with kLockedForExclusiveUse
    /// until unlock() or until this object goes. kLockedForExclusiveUse where another client holds it.
    virtual Status lock(std::uint32_t exclusive) = 0;
    /// kUnlockByOther where another client holds the lock; unlocking what nobody holds does nothing.
    virtual Status unlock() = 0;
    virtual Status mode(std::uint16_t& mode) = 0;
    virtual Status state(std::uint16_t& state) = 0;
    /// The sub-object with number `id` (kSecuritySubObject); com::kInvalidArgument for any other.
    virtual Status subObject(std::uint32_t id, std::uint32_t reserved, ComPtr<com::Unknown>& out) = 0;

protected:
    ~IPhonePort() = default;
};

class IPortNameTranslator : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x6b1f0c52e7a94d06, 0xa7c3194e08d25f31};
    /// The number of the port named `name`; com::kFail for a name that the service does not have.
    virtual Status portNumber(const std::string& name, std::uint16_t& number) = 0;

protected:
    ~IPortNameTranslator() = default;
};

class IPortCollection : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x6b1f0c52e7a94d07, 0xa7c3194e08d25f31};
    virtual Status translator(ComPtr<IPortNameTranslator>& out) = 0;
    /// The phone on the port with this number, which is open as long as the client has it. kPhoneNotPresent where the
    /// port has none, com::kInvalidArgument for a number that no port has.
    virtual Status portByNumber(std::uint16_t number, ComPtr<IPhonePort>& out) = 0;

protected:
    ~IPortCollection() = default;
};

class IConfigurationAgent : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x6b1f0c52e7a94d08, 0xa7c3194e08d25f31};
    /// The numbers of all ports that the service owns, in the order of its configuration.
    virtual Status portNumbers(std::vector<std::uint16_t>& numbers) = 0;
    /// The ports that this agent keeps open from now on: these, and no others. A port's device or memory is taken when
    /// the first agent or client wants it, and let go with the last; one that is not open is described without a phone.
    /// com::kInvalidArgument, with nothing changed, where a number is no port's.
    virtual Status keepOpen(const std::vector<std::uint16_t>& numbers) = 0;
    virtual Status describePort(std::uint16_t number, PortDescription& description) = 0;
    /// kPhoneNotPresent where the port has no phone.
    virtual Status describePhone(std::uint16_t number, PhoneDescription& description) = 0;

protected:
    ~IConfigurationAgent() = default;
};

/// What every client of the service's root objects tells first: the version of this header, times 10,000.
inline constexpr std::uint32_t kInterfaceVersion = 30000;
/// The agent that createAgent() makes, by its registered name.
inline constexpr const char* kConfigurationAgentName = "Velnor.OrrinConfigAgent.1";

/// The service's root object.
class IServer : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x6b1f0c52e7a94d09, 0xa7c3194e08d25f31};
    /// The client's first call. com::kInvalidArgument for a version that this service does not speak; every other
    /// method answers com::kUnexpected before it.
    virtual Status setInterfaceVersion(std::uint32_t version) = 0;
    /// Makes the agent named `name` (`instance` -1: a new one) and hands out its handle, which releaseAgent() takes.
    /// com::kInvalidArgument for another name.
    virtual Status createAgent(const std::string& name, std::int32_t instance, std::uint16_t& handle,
                               ComPtr<com::Unknown>& agent) = 0;
    virtual Status releaseAgent(std::uint16_t handle) = 0;
    virtual Status portCollection(ComPtr<IPortCollection>& out) = 0;

protected:
    ~IServer() = default;
};

inline constexpr com::ClassId kServerClass{0x6b1f0c52e7a94d0a, 0xa7c3194e08d25f31};

/// The service's list of the programs that use it.
class IClientRegistry : public com::Unknown {
public:
    static constexpr com::InterfaceId kId{0x6b1f0c52e7a94d0b, 0xa7c3194e08d25f31};
    virtual Status setInterfaceVersion(std::uint32_t version) = 0;
    virtual Status registerClient(const std::string& clientName, const std::string& machineName,
                                  std::uint32_t processId, std::uint32_t registered, std::uint16_t& handle) = 0;
    /// com::kInvalidArgument for a handle that is not registered.
    virtual Status unregisterClient(std::uint16_t handle) = 0;

protected:
    ~IClientRegistry() = default;
};

inline constexpr com::ClassId kClientRegistryClass{0x6b1f0c52e7a94d0c, 0xa7c3194e08d25f31};
/// The class of the window that the service's task owns on a machine on which it runs.
inline constexpr const char* kTaskWindowClass = "Orrin Task Window";

} // namespace tessra
