#include "tests/storage/SystemCalls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace {

// Whether the call may happen. What the watcher itself calls is not watched.
bool mayCall(const char* call) {
    auto watch = std::exchange(storage::testing::SystemCalls::watch, {});
    const int error = watch ? watch(call) : 0;
    if (watch && !storage::testing::SystemCalls::watch) {
        storage::testing::SystemCalls::watch = std::move(watch);
    }
    errno = error;
    return error == 0;
}

} // namespace

// The linker sends each call here, and names the real one like this.
#define WATCHED(result, call, parameters, arguments)                                                                   \
    result __real_##call parameters;                                                                                   \
    result __wrap_##call parameters {                                                                                  \
        return mayCall(#call) ? __real_##call arguments : -1;                                                          \
    }

extern "C" {
WATCHED(int, open, (const char* path, int flags, mode_t mode), (path, flags, mode))
WATCHED(ssize_t, pread, (int file, void* bytes, size_t length, off_t offset), (file, bytes, length, offset))
WATCHED(int, fsync, (int file), (file))
WATCHED(int, fchmod, (int file, mode_t mode), (file, mode))
WATCHED(int, flock, (int file, int how), (file, how))
WATCHED(int, linkat, (int from, const char* path, int to, const char* name, int flags), (from, path, to, name, flags))
WATCHED(int, rename, (const char* path, const char* name), (path, name))
WATCHED(int, socket, (int domain, int type, int protocol), (domain, type, protocol))
WATCHED(int, close, (int file), (file))

// The linker gives these names.
// NOLINTBEGIN(bugprone-reserved-identifier)
ssize_t __real_write(int file, const void* bytes, size_t length);
ssize_t __wrap_write(int file, const void* bytes, size_t length) {
    const bool happens = mayCall("write");
    const int error = errno;
    const ssize_t written = __real_write(file, bytes, happens ? length : length / 2);
    errno = happens ? errno : error;
    return happens ? written : -1;
}
// NOLINTEND(bugprone-reserved-identifier)
}
