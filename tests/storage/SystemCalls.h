#pragma once

#include <functional>

namespace storage::testing {

/// Stands between this program and some calls of the system (see CMakeLists.txt), the container's among them. While
/// `watch` is set, it is called before each of them with the call's name, and what it answers is the error with which
/// the call fails; 0 lets it happen. Of a write that fails, the first half is written before.
struct SystemCalls {
    static inline std::function<int(const char* call)> watch;
};

} // namespace storage::testing
