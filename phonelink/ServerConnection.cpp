#include "phonelink/ServerConnection.h"

#include "platform/com/ClassTable.h"

ServerConnection::~ServerConnection() {
    detach();
}

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

void ServerConnection::attachOrThrow(const std::string&) {
    server_.reset();
    com::ComPtr<com::Unknown> created;
    com::throwIfFailed(com::createInstance(tessra::kServerClass, com::kAnyServer, created));
    com::throwIfFailed(com::run(created));
    com::throwIfFailed(created.query(server_));
    com::throwIfFailed(server_->setInterfaceVersion(tessra::kInterfaceVersion));
}

void ServerConnection::detach() {
    server_.reset();
}
