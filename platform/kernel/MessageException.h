#pragma once

#include <exception>
#include <string>
#include <utility>

namespace kernel {

/// The base of the exceptions that carry one message for whoever reports the failure.
class MessageException : public std::exception {
public:
    explicit MessageException(std::string message) : message_(std::move(message)) {}

    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};

} // namespace kernel
