#pragma once

#include <exception>
#include <string>
#include <utility>

/// A failure of the engine: one message for the user. Also reached as Calvane::Exception; it stands in a header of its
/// own so that the item model can throw it without knowing the catalog.
class CalvaneException : public std::exception {
public:
    explicit CalvaneException(std::string message) : message_(std::move(message)) {}

    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};
