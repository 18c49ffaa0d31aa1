#pragma once

#include "phonelink/CClientRegisterHelper.h"
#include "tessra/Interfaces.h"

#include <memory>
#include <string>

/// One session's hold on the service's root object, and its place in the service's list of clients. Owned by the
/// session's ServerLink; lives on the COM worker thread alone.
class ServerConnection {
public:
    ServerConnection() = default;
    ~ServerConnection();
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
