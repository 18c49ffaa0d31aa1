#include "phonelink/CTESSRAPort.h"

#include <utility>

CTESSRAPort::CTESSRAPortException::CTESSRAPortException(std::string message) : message_(std::move(message)) {}

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
