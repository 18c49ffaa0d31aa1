#pragma once

#include "platform/com/Status.h"

#include <cstdint>
#include <map>
#include <string>

/// Announces this program to the phone service's list of clients, and withdraws it; counts the registrations per
/// machine, so that the service hears of the first and of the last. Each step leaves a line in the debug trace.
///
/// Owned by the session's ServerConnection; lives on the COM worker thread alone. It never throws for a failure of the
/// service, and what it has registered when it is destroyed stays registered.
class CClientRegisterHelper {
public:
    /// A handle that stands for "not registered with the service", as its task was not running.
    static constexpr std::uint16_t kNoHandle = 0xFFFF;

    /// A name that is null or empty becomes "Unknown Client Name".
    explicit CClientRegisterHelper(const char* clientName);
    ~CClientRegisterHelper();
    CClientRegisterHelper(const CClientRegisterHelper&) = delete;
    CClientRegisterHelper& operator=(const CClientRegisterHelper&) = delete;

    /// Registers with the service on `machineName`; null is this computer. The case of names does not matter. Answers
    /// com::kOk always: a machine whose service can't be reached is not counted, so that the next call tries again.
    com::Status Register(const char* machineName);

    /// Takes one registration back. com::kFail for a machine that has none. With the last one the entry goes, whatever
    /// RegisterToggle answers, which is the result then; com::kOk otherwise.
    com::Status UnRegister(const char* machineName);

    /// The one exchange with the service's list of clients: registers, writing `handle`, or unregisters `handle`. For
    /// this computer (backslashes before its name do not matter) without a task window of the service, nothing is asked
    /// and `handle` becomes kNoHandle. Answers the failure of reaching the list; what the list itself answers is not
    /// reported, but a failure is logged. A registration that it refuses leaves in `handle` what it gave all the same.
    com::Status RegisterToggle(const char* machineName, bool registering, std::uint16_t& handle);

private:
    struct Registration {
        std::uint32_t count = 0;
        std::uint16_t handle = kNoHandle;
    };

    void exchange(bool registering, std::uint16_t& handle) const;

    std::string clientName_;
    std::string machineName_;                           ///< this computer's, in lower case
    std::map<std::string, Registration> registrations_; ///< by machine name in lower case
};
