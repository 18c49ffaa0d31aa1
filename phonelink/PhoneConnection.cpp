#include "phonelink/PhoneConnection.h"

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

PhoneConnection::~PhoneConnection() {
    detach();
}

void PhoneConnection::attach(const com::ComPtr<tessra::IPhonePort>& phone, const std::string* accessCode) {
    phone_ = phone;
    if (accessCode != nullptr) {
        sendAccessCode(*accessCode);
    }
}

void PhoneConnection::detach() {
    phone_.reset();
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
