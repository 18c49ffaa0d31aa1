#include "workbench/PortReason.h"

#include "phonelink/TessraServer.h"

namespace workbench {

std::string portReason(TessraServer& session, const std::string& comPort) {
    try {
        return session.portProblem(comPort);
    } catch (const std::exception&) {
        return {}; // the caller has a failure to tell already, which this one would hide
    }
}

} // namespace workbench
