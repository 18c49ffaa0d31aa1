#include "calfile/MoxFailures.h"

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

WorkerFailureTexts failureTexts(const char* function, bool showsMessages) {
    return {.function = function,
            .unhandled = "An unhandled exception was thrown and caught in a ... catch statement",
            .showsMessages = showsMessages};
}

} // namespace mox
