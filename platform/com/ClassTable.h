#pragma once

#include "platform/com/ComPtr.h"

#include <cstdint>
#include <functional>

namespace com {

/// Where the object behind a class may live: in this process, behind a handler here, in another process of this
/// machine, or on another machine. Added up in a creation call.
enum ClassContext : std::uint32_t {
    kInProcessServer = 0x1,
    kInProcessHandler = 0x2,
    kLocalServer = 0x4,
    kRemoteServer = 0x10,
};
inline constexpr std::uint32_t kAnyServer = kInProcessServer | kInProcessHandler | kLocalServer;

/// Makes one object of the class, in the calling thread's apartment, and answers its identity interface.
using ClassFactory = std::function<Status(ComPtr<Unknown>& out)>;

/// A class's entry in the process's class table, for as long as this object lives. `contexts` says which creation calls
/// find it: those that ask for at least one of them. A second entry for the same class hides the first.
class ClassRegistration {
public:
    ClassRegistration(const ClassId& classId, std::uint32_t contexts, ClassFactory factory);
    ~ClassRegistration();
    ClassRegistration(const ClassRegistration&) = delete;
    ClassRegistration& operator=(const ClassRegistration&) = delete;

private:
    std::uint64_t key_;
};

/// Makes an object of class `classId`. kNotInitialized on a thread outside every apartment, kClassNotRegistered where
/// the table has no such class in any of `contexts`, otherwise what the factory answers.
Status createInstance(const ClassId& classId, std::uint32_t contexts, ComPtr<Unknown>& out);

/// Puts an object into its running state. Objects in this process always are, so this only refuses a null reference
/// (kInvalidArgument).
Status run(const ComPtr<Unknown>& object);

} // namespace com
