#include "phonelink/ServerObjects.h"

#include "platform/com/ClassTable.h"

#include <algorithm>
#include <limits>

namespace {

// Asks `object` for an interface. Its absence leaves the reference null, which fails where it is used; another failure
// of the query is raised here.
template <class Wanted, class T>
com::ComPtr<Wanted> queryOrNull(const com::ComPtr<T>& object) {
    com::ComPtr<Wanted> wanted;
    const com::Status status = object.query(wanted);
    if (com::failed(status) && status != com::kNoInterface) {
        com::raise(status);
    }
    return wanted;
}

} // namespace

com::Status ServerConnection::attach(const std::string& clientName) {
    try {
        attachOrThrow(clientName);
        return com::kOk;
    } catch (const com::ComError& error) {
        return error.code();
    } catch (...) {
        return com::kFail;
    }
}

void ServerConnection::attachOrThrow(const std::string& clientName) {
    detach();
    com::ComPtr<com::Unknown> created;
    com::throwIfFailed(com::createInstance(tessra::kServerClass, com::kAnyServer, created));
    com::throwIfFailed(com::run(created));
    com::throwIfFailed(created.query(server_));
    com::throwIfFailed(server_->setInterfaceVersion(tessra::kInterfaceVersion));
    registration_ = std::make_unique<CClientRegisterHelper>(clientName.c_str());
    registration_->Register(nullptr);
}

void ServerConnection::detach() {
    if (registration_) {
        registration_->UnRegister(nullptr);
        registration_.reset();
    }
    server_.reset();
}

bool CTESSRAPort::select(const com::ComPtr<tessra::IServer>& server, std::uint16_t number) {
    if (number == number_) {
        return true;
    }
    phone_.reset();
    com::ComPtr<tessra::IPortCollection> ports;
    if (!server || com::failed(server->portCollection(ports)) || !ports) {
        return false;
    }
    // A success without a phone is none: were it remembered, the port would never be asked for again.
    if (com::failed(ports->portByNumber(number, phone_)) || !phone_) {
        phone_.reset();
        return false;
    }
    number_ = number;
    return true;
}

com::ComPtr<tessra::IPhonePort> CTESSRAPort::phone() const {
    if (!phone_) {
        throw CTESSRAPortException("No phone found on this port");
    }
    return phone_;
}

void PhoneConnection::attach(const com::ComPtr<tessra::IPhonePort>& phone, const std::string* accessCode) {
    phone_ = phone;
    if (accessCode != nullptr) {
        sendAccessCode(*accessCode);
    }
}

void PhoneConnection::sendAccessCode(const std::string& code) {
    com::ComPtr<com::Unknown> part;
    com::throwIfFailed(phone_->subObject(tessra::kSecuritySubObject, 0, part));
    const auto security = queryOrNull<tessra::ISecurity>(part);
    com::throwIfFailed(security->sendCode(0, code, 0));
}

void PhoneConnection::checkMode() const {
    std::uint16_t mode = 0;
    com::throwIfFailed(phone_->mode(mode));
    if (mode == static_cast<std::uint16_t>(tessra::PhoneMode::kDownload) ||
        mode == static_cast<std::uint16_t>(tessra::PhoneMode::kStreamDownload)) {
        com::raise(tessra::kBadPhoneMode);
    }
    std::uint16_t state = 0;
    com::throwIfFailed(phone_->state(state));
    if (state != static_cast<std::uint16_t>(tessra::PhoneState::kPresent)) {
        com::raise(tessra::kPhoneNotPresent);
    }
}

void PhoneConnection::sendSync(std::uint32_t requestLength, const std::uint8_t* request, std::uint32_t& responseLength,
                               std::uint8_t* response, std::uint32_t timeoutMs) const {
    checkMode();
    const auto sender = queryOrNull<tessra::ISyncSend>(phone_);
    // The service counts the answer in 16 bits: a larger buffer serves as one of the largest size that it can tell.
    auto received =
        static_cast<std::uint16_t>(std::min<std::uint32_t>(responseLength, std::numeric_limits<std::uint16_t>::max()));
    com::throwIfFailed(sender->sendSync(requestLength, request, 1, 0, timeoutMs, received, response));
    responseLength = received;
}
