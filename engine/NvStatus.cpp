#include "engine/NvStatus.h"

#include <array>

namespace nvstatus {
namespace {

// By status, from 1 on.
constexpr std::array<std::string_view, 10> kWriteFailureTexts{
    "Request is queued",
    "Unrecognizable command field",
    "The NVM is full",
    "Command failed, reason other than NVM was full",
    "Variable was not active",
    "Bad parameter in command block",
    "Parameter is write-protected and thus read only",
    "Item not valid for Target",
    "free memory exhausted",
    "address is not a valid allocation",
};

} // namespace

std::optional<std::string_view> writeFailureText(std::uint16_t status) {
    if (status < 1 || status > kWriteFailureTexts.size()) {
        return std::nullopt;
    }
    return kWriteFailureTexts[status - 1];
}

} // namespace nvstatus
