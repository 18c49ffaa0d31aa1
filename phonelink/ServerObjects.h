#pragma once

#include "phonelink/CClientRegisterHelper.h"
#include "tessra/Interfaces.h"

#include <memory>
#include <string>

// What a session holds of the service's objects. Owned by its ServerLink, live on the COM worker thread alone.

/// One session's hold on the service's root object, and its place in the service's list of clients.
class ServerConnection {
public:
    ServerConnection() = default;
    ~ServerConnection() { detach(); }
    ServerConnection(const ServerConnection&) = delete;
    ServerConnection& operator=(const ServerConnection&) = delete;

    /// Creates the service's root object, in this process or in another of this machine, runs it and tells it the
    /// version of the interfaces that this program speaks; then registers this program as `clientName`, which can't
    /// fail. What was attached before is detached first. Answers the status code of the COM error that ended it,
    /// com::kFail for any other exception.
    com::Status attach(const std::string& clientName);

    /// Takes the registration back and releases the root object. Does nothing where none is held.
    void detach();

    /// The root object with a reference of its own; null before attach() and after detach().
    com::ComPtr<tessra::IServer> server() const { return server_; }

private:
    void attachOrThrow(const std::string& clientName);

    com::ComPtr<tessra::IServer> server_;
    std::unique_ptr<CClientRegisterHelper> registration_;
};

/// One session's choice among the service's ports: the port selected by number, and the phone interface that the
/// service gave for it.
class CTESSRAPort {
public:
    /// Raised where a phone is asked for and the selected port has none. Not a std::exception: the session tells it
    /// apart from every other failure by its type.
    class CTESSRAPortException {
    public:
        explicit CTESSRAPortException(std::string message) : message_(std::move(message)) {}
        virtual ~CTESSRAPortException() = default;
        virtual const std::string& message() const { return message_; }

    private:
        std::string message_;
    };

    /// Selects port `number` of `server`'s collection. The port that is selected already is left alone. Answers whether
    /// the service gave a phone for it; after a failure no phone is held and the number is the one from before.
    bool select(const com::ComPtr<tessra::IServer>& server, std::uint16_t number);

    /// The phone on the selected port. Throws CTESSRAPortException where none is held.
    com::ComPtr<tessra::IPhonePort> phone() const;

private:
    std::uint16_t number_ = 0; ///< 0 until a port has been selected
    com::ComPtr<tessra::IPhonePort> phone_;
};

/// The phone that a session is attached to.
class PhoneConnection {
public:
    /// Takes `phone`, releasing a phone held before. An `accessCode` that is not null is sent to it at once; its
    /// failure is a com::ComError, and the phone stays attached.
    void attach(const com::ComPtr<tessra::IPhonePort>& phone, const std::string* accessCode = nullptr);
    /// Gives the phone back, if one is held. Never fails.
    void detach() { phone_.reset(); }

    /// The phone; null where none is attached, so that using it is a com::ComError with com::kPointer.
    const com::ComPtr<tessra::IPhonePort>& phone() const { return phone_; }

    /// The steps below throw com::ComError for every failure of the service.

    /// Sends the phone's service programming code through its security interface.
    void sendAccessCode(const std::string& code);

    /// Refuses a phone that can't take packets now: tessra::kBadPhoneMode in modes 2 and 6, tessra::kPhoneNotPresent in
    /// every state but 5.
    void checkMode() const;

    /// Sends one packet after checkMode() and waits up to `timeoutMs` for the answer. `responseLength`: the capacity of
    /// `response` on entry, the bytes received on return.
    void sendSync(std::uint32_t requestLength, const std::uint8_t* request, std::uint32_t& responseLength,
                  std::uint8_t* response, std::uint32_t timeoutMs) const;

private:
    com::ComPtr<tessra::IPhonePort> phone_;
};
