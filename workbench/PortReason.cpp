#include "workbench/PortReason.h"

#include "phonelink/TessraServer.h"
#include "workbench/MessageText.h"

namespace workbench {

std::string portReason(TessraServer& session, const std::string& comPort) {
    try {
        return session.portProblem(comPort);
    } catch (const std::exception&) {
        return {}; // the caller has a failure to tell already, which this one would hide
    }
}

std::string noPhoneText(TessraServer& session, const std::string& comPort) {
    const std::string reason = portReason(session, comPort);
    if (reason.empty()) {
        return "No phone is present on " + comPort + ".";
    }
    return reason.starts_with(comPort) ? reason : comPort + " can't be used: " + reason;
}

std::string withPortReason(const std::string& failure, TessraServer& session, const std::string& comPort) {
    const std::string reason = portReason(session, comPort);
    return reason.empty() ? failure : shownMessage(failure, {}, reason);
}

} // namespace workbench
