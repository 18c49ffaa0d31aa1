#pragma once

#include "calfile/MoxException.h"
#include "platform/com/Status.h"

#include <functional>
#include <string>

/// How failures of calibration files are worded and recorded.
namespace mox {

/// The message table's text for a failure code of the container, with its line break. A code of facility 8 is looked up
/// by its low 16 bits alone. "[Could not find an error description]" where the table has none.
std::string hresultText(com::Status status);

/// Throws a MoxException with hresultText() where `status` is a failure.
void check(com::Status status);

/// A function that runs on the worker, as the texts of its failures call it.
struct WorkerBody {
    const char* name;
    /// Whether a MoxException shows its message. Where it does not, it is one of the unhandled ones.
    bool showsOwnExceptions;
};

/// Runs `work` and lets nothing that it throws cross the thread: a failure sets `pending` and puts its text into
/// `message`, behind the body's name.
void runBody(const WorkerBody& body, bool& pending, std::string& message, const std::function<void()>& work);

} // namespace mox
