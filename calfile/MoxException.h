#pragma once

#include <exception>
#include <string>
#include <utility>

/// A failure of a calibration file: one message for the user. Reached by callers as MoxFile::Exception; it stands in a
/// header of its own so that the functions on the file's parts can throw it without knowing the class.
class MoxException : public std::exception {
public:
    explicit MoxException(std::string message) : message_(std::move(message)) {}

    const char* what() const noexcept override { return message_.c_str(); }

private:
    std::string message_;
};
