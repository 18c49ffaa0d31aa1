#pragma once

#include "platform/com/Status.h"

#include <exception>
#include <string>
#include <string_view>

namespace com {

/// A failure of an interface call as an exception: the status code and, where the object that failed left them, the
/// source and the description of the failure.
class ComError : public std::exception {
public:
    explicit ComError(Status code, std::string source = {}, std::string description = {});

    Status code() const { return code_; }
    /// Who failed; empty where the object did not say.
    const std::string& source() const { return source_; }
    const std::string& description() const { return description_; }
    /// standardMessage() of the code.
    const char* what() const noexcept override { return message_.c_str(); }

private:
    Status code_;
    std::string source_;
    std::string description_;
    std::string message_;
};

/// Leaves source and description of a failure with the calling thread, for the caller that turns the status code into
/// an exception, and answers `status`: an object's method ends with `return failWith(...)`.
Status failWith(Status status, std::string_view source, std::string_view description);

/// Forgets what failWith() left: a call begins, and what an earlier one left behind when its failure was forgiven is
/// not this one's. ComPtr does it before each call.
void forgetFailure();

/// Throws a ComError for `status`. Source and description are those of the thread's last failWith() if that was for the
/// same code; they are spent by the throw.
[[noreturn]] void raise(Status status);

/// Raises where `status` is a failure; otherwise does nothing.
inline void throwIfFailed(Status status) {
    if (failed(status)) {
        raise(status);
    }
}

/// The report of several lines that shows all that a COM error knows. Its last four lines begin with BEL and TAB:
/// "Error", code in lower-case hexadecimal, standard message, source, description ("None provided!" for an empty one).
std::string errorReport(const ComError& error);

} // namespace com
