#include "platform/kernel/StandardDescriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace kernel {

void openStandardDescriptors() {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        if (::fcntl(number, F_GETFD) != -1 || errno != EBADF) {
            continue;
        }
        // The lowest free number is taken, which is this one: those below it are open.
        if (::open("/dev/null", number == STDERR_FILENO ? O_WRONLY : O_RDONLY) != number) {
            std::_Exit(EXIT_FAILURE);
        }
    }
}

} // namespace kernel
