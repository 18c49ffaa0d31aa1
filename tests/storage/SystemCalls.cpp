#include "tests/storage/SystemCalls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
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
extern "C" {
int __real_open(const char* path, int flags, ...);
ssize_t __real_write(int file, const void* bytes, size_t length);
int __real_fsync(int file);
int __real_fchmod(int file, mode_t mode);
int __real_flock(int file, int how);
int __real_linkat(int from, const char* path, int to, const char* name, int flags);
int __real_rename(const char* path, const char* name);
int __real_close(int file);

int __wrap_open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return mayCall("open") ? __real_open(path, flags, mode) : -1;
}
ssize_t __wrap_write(int file, const void* bytes, size_t length) {
    if (mayCall("write")) {
        return __real_write(file, bytes, length);
    }
    const int error = errno;
    (void)!__real_write(file, bytes, length / 2);
    errno = error;
    return -1;
}
int __wrap_fsync(int file) {
    return mayCall("fsync") ? __real_fsync(file) : -1;
}
int __wrap_fchmod(int file, mode_t mode) {
    return mayCall("fchmod") ? __real_fchmod(file, mode) : -1;
}
int __wrap_flock(int file, int how) {
    return mayCall("flock") ? __real_flock(file, how) : -1;
}
int __wrap_linkat(int from, const char* path, int to, const char* name, int flags) {
    return mayCall("linkat") ? __real_linkat(from, path, to, name, flags) : -1;
}
int __wrap_rename(const char* path, const char* name) {
    return mayCall("rename") ? __real_rename(path, name) : -1;
}
int __wrap_close(int file) {
    return mayCall("close") ? __real_close(file) : (__real_close(file), -1);
}
}
