#pragma once

#include <exception>
#include <functional>
#include <optional>
#include <string>

/// The message of the exception of type `Error` that `call` throws, "" where it throws none. Others come through.
template <class Error = std::exception>
std::string messageOf(const std::function<void()>& call) {
    try {
        call();
        return {};
    } catch (const Error& error) {
        return error.what();
    }
}

/// The exception of type `Error` that `call` throws. Others come through.
template <class Error>
std::optional<Error> thrownBy(const std::function<void()>& call) {
    try {
        call();
        return std::nullopt;
    } catch (const Error& error) {
        return error;
    }
}
