#pragma once

#include <exception>
#include <string>
#include <utility>

namespace kernel {

/// The base of the exceptions that carry one message for whoever reports the failure.
class MessageException : public std::exception {
public:
    explicit MessageException(std::string message) : message_(std::move(message)) {}

    /// The message up to its first zero byte.
    const char* what() const noexcept override { return message_.c_str(); }
    /// All of it: what it quotes of a file may have zero bytes.
    const std::string& message() const { return message_; }

private:
    std::string message_;
};

/// The whole message of a failure.
inline std::string messageOf(const std::exception& failure) {
    const auto* own = dynamic_cast<const MessageException*>(&failure);
    return own == nullptr ? failure.what() : own->message();
}

} // namespace kernel
