#pragma once

#include "phonelink/ComThreadUser.h"
#include "platform/kernel/MessageException.h"
#include "platform/kernel/Mutex.h"
#include "tessra/Packet.h"

#include <atomic>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class ServerLink;
class TessraEventFilter;
class TessraEventListener;
class TessraEvents;

/// A phone that the service sees: the name of its port, and the service's three descriptions of it.
struct PhoneRecord {
    std::string portName;
    std::string model;
    std::string softwareVersion;
    std::string serialNumber;
};

/// The program's session with the Tessra phone service. The catalog owns one for its whole life.
///
/// Public members may be called from any thread: they take the session's lock, hand a private member to the COM worker
/// thread, wait for it, and turn the failure that it recorded into a TessraServer::Exception. The lock is free again
/// when such an exception is thrown, and the session stays usable. Nothing asks the service before a member needs it:
/// the constructor touches no server, the first connect or scan attaches to it.
///
/// The operations on a phone need a connected session. Without one they throw "TessraServer::<member> -
/// TessraServer::connect must be called before calling this member function.", before the lock is taken.
class TessraServer : public ComThreadUser {
public:
    class Exception : public kernel::MessageException {
    public:
        explicit Exception(std::string message, com::Status status = com::kOk)
            : MessageException(std::move(message)), status_(status) {}

        /// The status code with which the service failed (tessra/Interfaces.h): tessra::kPhoneNotPresent also where the
        /// port has no phone to attach to, or none returns from a reset; com::kUnexpected for an answer that is not the
        /// one for the NV item. com::kOk where there is none, such as for a session that is not connected.
        com::Status status() const { return status_; }

    private:
        com::Status status_;
    };

    static constexpr std::size_t kNvDataBytes = tessra::kNvDataBytes;
    static constexpr std::size_t kDiagVersionBytes = tessra::kVersionAnswerBytes;

    /// `clientName` is the name by which the service knows this program. Throws TessraServer::Exception where the
    /// system gives no lock or no worker thread.
    explicit TessraServer(std::string clientName);
    /// Ends the event notifier, so that no listener is called any more, and then lets go of the service. Waits for a
    /// listener that is being called, without limit, and for the service 10 s at most in each of these two steps; what
    /// takes longer is finished by the worker later on. The 10 s begin when the worker's other callers are done: while
    /// the call of another session, or one into a file, hangs, this waits for it. Not to be called by a listener.
    ~TessraServer() override;

    /// Waits up to `timeoutMs` for a phone on one port, any port, and attaches it; its port becomes the session's.
    /// Answers whether there was one. Two phones at once are a failure that names their ports. Polls every 20 ms; a
    /// time-out of 0 polls once. Meanwhile the service has all its ports open; else it has those alone for which
    /// sessions have asked last, and those to which they are attached.
    virtual bool connect(std::uint32_t timeoutMs);
    /// Waits up to `timeoutMs` for a phone on `comPort` and attaches it. Answers whether there was one.
    virtual bool connect(const std::string comPort, std::uint32_t timeoutMs);
    /// Attaches the phone on `comPort`, such as "COM1"; a session that is connected changes to that port.
    virtual void connect(const std::string comPort);
    /// Whether the operations on a phone may be called. Waits for nobody.
    bool isConnected() const { return connected_; }
    /// The names of the ports on which the service sees a phone, in the service's order. It opens all ports for that.
    virtual std::vector<std::string> getActiveComPorts();
    /// Looks once and answers the phones that the service sees, in the order of their ports. It opens all ports for
    /// that, but for a session that is connected: then ports that nobody has opened are ports without a phone.
    virtual std::vector<PhoneRecord> waitForActivePhone();
    /// Why `comPort` can't be used, such as "/dev/ttyUSB0: can't be opened: Permission denied", for whoever has to tell
    /// of a failure there; empty where the service knows of nothing or has not been attached, and while another caller
    /// has the session. Sends no packet and opens nothing.
    std::string portProblem(const std::string& comPort);

    /// Sends one packet of `requestLength` bytes (256 at most) and waits up to `timeoutMs` for the answer.
    /// `responseLength` is the capacity of `response` on entry, and the number of bytes received on return.
    virtual void sendSync(std::uint32_t requestLength, const std::uint8_t* request, std::uint32_t& responseLength,
                          std::uint8_t* response, std::uint32_t timeoutMs);
    /// Asks the phone to go offline; returns once the service has accepted that.
    virtual void offline();
    /// Resets the phone, waits until `resetTimeoutMs` for it to go and until `recoveryTimeoutMs` for it to come back,
    /// both measured from the start of the call. 0 leaves out that wait.
    virtual void reset(std::uint32_t resetTimeoutMs, std::uint32_t recoveryTimeoutMs);
    /// The same with one budget for both waits; 0 returns right after the reset was asked for.
    virtual void reset(std::uint32_t timeoutMs);
    /// Reserves the phone for this session, and gives it free.
    virtual void lock();
    virtual void unlock();
    /// Throws where the phone can't take packets now: it is not present, or its mode is 2 or 6.
    virtual void detectBadPhoneMode();
    /// Sends the phone's service programming code.
    virtual void sendSpc(const char* accessCode);
    /// Reads the phone's version answer into `version` (kDiagVersionBytes bytes). Any other length of the answer fails.
    virtual void getDiagVerno(std::uint8_t* version);
    /// Sends 0x3B and then `payload`; `responseLength` as in sendSync.
    virtual void sendTmob(std::uint32_t payloadLength, const std::uint8_t* payload, std::uint32_t& responseLength,
                          std::uint8_t* response);
    /// Reads one NV item. `data` receives 128 bytes, `status` the phone's NV status: 0 for success, and 4 before every
    /// exception after which `data` is as it was. An answer that is not this item's is refused.
    virtual void readNv(std::uint16_t number, std::uint8_t* data, std::uint16_t& status);
    /// Writes 128 bytes to one NV item; `status` as in readNv.
    virtual void writeNv(std::uint16_t number, const std::uint8_t* data, std::uint16_t& status);

    /// Registers `listener`, not null, for the phone's events that `filter` accepts; a null filter accepts all. It
    /// hears on a thread of the session's, and hears on when the session changes to another port. A failure to
    /// subscribe to the events is thrown, and nothing is registered.
    ///
    /// When an attempt to change the port fails, all listeners hear nothing more from that member's return on. They
    /// stay registered, and hear again once a listener has been added to the session connected anew. Adding and
    /// removing does not take the session's lock; it must come neither from the worker nor from a listener.
    virtual void addEventListener(TessraEventListener* listener, TessraEventFilter* filter);
    /// Removes the first registration of `listener`; on return it is not being called through it. An unknown listener
    /// is ignored.
    virtual void removeEventListener(TessraEventListener* listener);

protected:
    /// The members below run on the worker and record what fails.
    virtual void initialize();
    /// Lets go of all that initialize() and the connects have got from the service. Records nothing.
    virtual void releaseServer();
    virtual void changeComPortImpl();
    virtual void sendSyncImpl();
    virtual void offlineImpl();
    virtual void resetImpl();
    virtual void lockImpl();
    virtual void unlockImpl();
    virtual void detectBadPhoneModeImpl();
    virtual void sendSpcImpl();
    virtual void getDiagVernoImpl();
    virtual void sendTmobImpl();
    virtual void connectToTessraEvents();
    virtual void disconnectFromTessraEvents();
    virtual void connectWithComPortImpl();
    /// `comPort`: the address of the std::string that names the port, which is the session's.
    virtual void connectWithTimeoutAndComPortImpl(std::uintptr_t comPort);
    virtual void connectWithTimeoutAndComPortImpl();
    virtual void getActiveComPortsImpl();
    virtual void waitForActivePhoneImpl();
    void closeOtherPortsImpl();
    /// `comPort`: the address of the std::string that names the port.
    void portProblemImpl(std::uintptr_t comPort);

private:
    friend class TessraEvents;

    /// How long the end of a session waits for one step of the service.
    static constexpr std::uint32_t kTeardownTimeoutMs = 10000;

    using Member = void (TessraServer::*)();
    using MemberWithArgument = void (TessraServer::*)(std::uintptr_t);

    /// What one operation on the phone works on: written by the public member, read by its member on the worker.
    struct Operation {
        std::uint32_t requestLength = 0;
        const std::uint8_t* request = nullptr;
        std::uint32_t* responseLength = nullptr;
        std::uint8_t* response = nullptr;
        std::uint32_t timeoutMs = 0;
        const char* accessCode = nullptr;
        std::uint8_t* version = nullptr;
    };

    /// Holds the session's lock for a member that may attach to a port. When that fails the event notifier is stopped;
    /// its end is awaited once the lock is free again, as a listener that is being called may wait for the lock.
    class AttachLock {
    public:
        explicit AttachLock(TessraServer& session);
        ~AttachLock();
        AttachLock(const AttachLock&) = delete;
        AttachLock& operator=(const AttachLock&) = delete;

    private:
        TessraServer& session_;
        const int exceptions_ = std::uncaught_exceptions();
    };

    bool isOnWorker() const;

    /// The members below are for holders of the session's lock. These run a member on the worker, without limit of
    /// time, and throw the failure that it recorded.
    void runOnWorker(Member member) { ComThreadUser::runOnWorker<Exception>(member); }
    void runOnWorker(MemberWithArgument member, std::uintptr_t argument) {
        ComThreadUser::runOnWorker<Exception>(member, argument);
    }
    void initializeIfNeeded();
    /// Does not need the lock.
    void requireConnected(const char* member) const;
    /// Takes the lock itself.
    void runOperation(const char* name, const Operation& operation, Member member);
    void attachWith(bool wasConnected);
    /// On the worker: the phone scan among the ports that `open` has opened.
    void scanPhones(const std::function<void()>& open);
    bool connectWithin(std::uint32_t timeoutMs, std::uint32_t startTick, bool onPort);
    void exchangeNv(const char* name, tessra::Command command, std::uint16_t number, const std::uint8_t* requestData,
                    std::uint8_t* responseData, std::uint16_t& status);
    bool phoneSeenOnPort();
    void waitForPhoneToLeave(std::uint32_t startTick, std::uint32_t timeoutMs);
    void waitForPhoneToReturn(std::uint32_t startTick, std::uint32_t timeoutMs, bool present);

    /// On the worker, as recordFailures(): a COM error shows the server's error text.
    void recordServerFailures(const char* function, const char* unhandled, const std::function<void()>& work);
    /// The same for attaching to the server or to another port, whose failures have texts of their own and stop the
    /// event notifier.
    void recordAttachFailures(const std::string& function, const char* unhandled, const std::function<void()>& work);
    void attachServer();
    /// Disconnects from the events; a failure is logged instead of recorded.
    void unsubscribeFromEvents();

    const std::string clientName_;
    kernel::Mutex sessionLock_;
    /// The fields below, and those of the base, are guarded by sessionLock_: its holder writes them before a hand-over
    /// to the worker and reads them after it; in between they are the worker's. Only connected_ is also read without
    /// the lock.
    std::string comPort_;
    std::atomic<bool> connected_ = false;
    bool initialized_ = false;
    bool phoneFound_ = false;
    std::vector<std::string> activeComPorts_;
    std::vector<PhoneRecord> activePhones_;
    std::string portProblem_;
    Operation operation_;
    std::shared_ptr<ServerLink> link_; ///< what it points to is the worker's alone
    /// Constant; it has its own locks. A subscription that the service has not let go of shares it.
    std::shared_ptr<TessraEvents> events_;
};
