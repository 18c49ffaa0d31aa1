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
