#pragma once

#include "calfile/MoxException.h"
#include "phonelink/ComThreadUser.h"
#include "platform/com/Status.h"

#include <string>

/// How failures of calibration files are worded and recorded.
namespace mox {

/// The message table's text for a failure code of the container, with its line break. A code of facility 8 is looked up
/// by its low 16 bits alone. "[Could not find an error description]" where the table has none.
std::string hresultText(com::Status status);

/// Throws a MoxException with hresultText() where `status` is a failure.
void check(com::Status status);

/// The texts of a failure of a function that runs on the worker: `function` names it. Where it does not show the
/// messages of its own exceptions, these are unhandled ones.
WorkerFailureTexts failureTexts(const char* function, bool showsMessages);

} // namespace mox
