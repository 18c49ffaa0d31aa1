#include "calfile/MoxFailures.h"

#include "platform/com/ComError.h"
#include "platform/com/Messages.h"

namespace mox {
namespace {

constexpr std::uint32_t kWindowsFacility = 8;

std::uint32_t facilityOf(com::Status status) {
    return com::statusBits(status) >> 16 & 0x1FFF;
}

} // namespace

std::string hresultText(com::Status status) {
    const com::Status looked =
        facilityOf(status) == kWindowsFacility ? com::makeStatus(com::statusBits(status) & 0xFFFF) : status;
    return com::systemMessage(looked).value_or("[Could not find an error description]");
}

void check(com::Status status) {
    if (com::failed(status)) {
        throw MoxException(hresultText(status));
    }
}

void runBody(const WorkerBody& body, bool& pending, std::string& message, const std::function<void()>& work) {
    const auto record = [&](const std::string& text) {
        pending = true;
        message = body.name + (" - " + text);
    };
    constexpr const char* kUnhandled = "An unhandled exception was thrown and caught in a ... catch statement";
    try {
        work();
    } catch (const MoxException& error) {
        record(body.showsOwnExceptions ? error.what() : kUnhandled);
    } catch (const com::ComError& error) {
        record(com::errorReport(error));
    } catch (...) {
        record(kUnhandled);
    }
}

} // namespace mox
