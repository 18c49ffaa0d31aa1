#pragma once

#include "platform/kernel/PendingWrite.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string_view>

namespace kernel {

/// Writes all of `content` to an open file, from where it stands. Returns 0, or the error number of why not everything
/// could be written. A PendingWrite, but for a regular file.
inline int writeAll(int file, std::string_view content) {
    struct stat status {};
    std::optional<PendingWrite> pending;
    if (::fstat(file, &status) == 0 && !S_ISREG(status.st_mode)) {
        pending.emplace();
    }
    while (!content.empty()) {
        const ssize_t written = ::write(file, content.data(), content.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        content.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return 0;
}

} // namespace kernel
