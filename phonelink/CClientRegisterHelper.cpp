#include "phonelink/CClientRegisterHelper.h"

#include "platform/com/ClassTable.h"
#include "platform/kernel/Process.h"
#include "platform/kernel/Text.h"
#include "platform/kernel/Trace.h"
#include "platform/window/TopLevelWindow.h"
#include "tessra/Interfaces.h"

#include <algorithm>
#include <exception>
#include <string_view>

using kernel::lowerCase;

CClientRegisterHelper::CClientRegisterHelper(const char* clientName)
    : clientName_(clientName == nullptr || *clientName == '\0' ? "Unknown Client Name" : clientName) {
    kernel::debugOutput("CClientRegisterHelper::CClientRegisterHelper\n");
    const auto computer = kernel::computerName();
    machineName_ = computer ? lowerCase(*computer) : "Unknown Machine Name";
}

CClientRegisterHelper::~CClientRegisterHelper() {
    kernel::debugOutput("CClientRegisterHelper::~CClientRegisterHelper\n");
}

com::Status CClientRegisterHelper::Register(const char* machineName) {
    kernel::debugOutput("CClientRegisterHelper::Register\n");
    const std::string name = machineName != nullptr ? machineName : machineName_;
    const auto known = registrations_.find(lowerCase(name));
    if (known != registrations_.end()) {
        ++known->second.count;
        if (known->second.handle == kNoHandle) {
            RegisterToggle(name.c_str(), true, known->second.handle);
        }
        return com::kOk;
    }
    std::uint16_t handle = kNoHandle;
    if (com::succeeded(RegisterToggle(name.c_str(), true, handle))) {
        registrations_[lowerCase(name)] = {1, handle};
    }
    return com::kOk;
}

com::Status CClientRegisterHelper::UnRegister(const char* machineName) {
    kernel::debugOutput("CClientRegisterHelper::UnRegister\n");
    const std::string name = machineName != nullptr ? machineName : machineName_;
    const auto known = registrations_.find(lowerCase(name));
    if (known == registrations_.end()) {
        return com::kFail;
    }
    if (--known->second.count > 0) {
        return com::kOk;
    }
    const com::Status status = RegisterToggle(name.c_str(), false, known->second.handle);
    registrations_.erase(known);
    return status;
}

com::Status CClientRegisterHelper::RegisterToggle(const char* machineName, bool registering, std::uint16_t& handle) {
    kernel::debugOutput("CClientRegisterHelper::RegisterToggle\n");
    std::string_view name = machineName;
    name.remove_prefix(std::min(name.find_first_not_of('\\'), name.size()));
    if (lowerCase(name) == lowerCase(machineName_) && !window::findWindow(tessra::kTaskWindowClass)) {
        handle = kNoHandle;
        return com::kOk;
    }
    try {
        exchange(registering, handle);
        return com::kOk;
    } catch (const com::ComError& error) {
        return error.code();
    } catch (...) {
        return com::kFail;
    }
}

void CClientRegisterHelper::exchange(bool registering, std::uint16_t& handle) const {
    com::ComPtr<com::Unknown> created;
    com::throwIfFailed(
        com::createInstance(tessra::kClientRegistryClass, com::kLocalServer | com::kRemoteServer, created));
    com::ComPtr<tessra::IClientRegistry> registry;
    com::throwIfFailed(created.query(registry));
    com::throwIfFailed(registry->setInterfaceVersion(tessra::kInterfaceVersion));
    const auto log = [registering](const std::string& what) {
        kernel::logError(std::string("CClientRegisterHelper::RegisterToggle - The service did not ") +
                         (registering ? "register" : "unregister") + " this program: " + what);
    };
    // From here on nothing is reported: the list has been reached.
    try {
        com::throwIfFailed(registering
                               ? registry->registerClient(clientName_, machineName_, kernel::processId(), 1, handle)
                               : registry->unregisterClient(handle));
    } catch (const std::exception& error) {
        log(error.what());
    } catch (...) {
        log("unknown exception");
    }
}
