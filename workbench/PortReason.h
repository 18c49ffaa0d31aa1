#pragma once

#include <string>

class TessraServer;

namespace workbench {

/// To be asked when an operation of `session` on the phone at `comPort` has failed: why the port can't be used, such as
/// "/dev/ttyUSB0: can't be opened: Permission denied"; empty where nobody knows. A second line for shownMessage().
/// Sends the phone nothing, and waits for no other caller of the session. Throws std::bad_alloc at most.
std::string portReason(TessraServer& session, const std::string& comPort);
/// Why no phone can be had on `comPort`, where none is there: that reason, or else that none is present.
std::string noPhoneText(TessraServer& session, const std::string& comPort);
/// `failure` with that reason as its last line, where there is one.
std::string withPortReason(const std::string& failure, TessraServer& session, const std::string& comPort);

} // namespace workbench
