#include "platform/com/ComError.h"

#include "platform/com/Messages.h"
#include "platform/kernel/Text.h"

#include <utility>

namespace com {
namespace {

struct ErrorInfo {
    Status status = kOk;
    std::string source;
    std::string description;
};

ErrorInfo& threadErrorInfo() {
    thread_local ErrorInfo info;
    return info;
}

const std::string& orNoneProvided(const std::string& text) {
    static const std::string none = "None provided!";
    return text.empty() ? none : text;
}

} // namespace

ComError::ComError(Status code, std::string source, std::string description)
    : code_(code), source_(std::move(source)), description_(std::move(description)), message_(standardMessage(code)) {}

Status failWith(Status status, std::string_view source, std::string_view description) {
    threadErrorInfo() = {status, std::string(source), std::string(description)};
    return status;
}

void forgetFailure() {
    threadErrorInfo().status = kOk;
}

void raise(Status status) {
    ErrorInfo info = std::exchange(threadErrorInfo(), {});
    if (info.status != status) {
        throw ComError(status);
    }
    throw ComError(status, std::move(info.source), std::move(info.description));
}

std::string errorReport(const ComError& error) {
    return "Error\n\a\tCode = " + kernel::hexDigits(statusBits(error.code())) + "\n\a\tCode meaning = " + error.what() +
           "\n\a\tSource = " + orNoneProvided(error.source()) +
           "\n\a\tDescription = " + orNoneProvided(error.description());
}

} // namespace com
