#pragma once

#include "platform/com/ComError.h"

#include <string_view>

namespace tessra {

/// Ends a method of one of the service's objects with a failure: leaves its description for the client and answers
/// `status`.
inline com::Status refuse(com::Status status, std::string_view description) {
    return com::failWith(status, "Tessra", description);
}

} // namespace tessra
