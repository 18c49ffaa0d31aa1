#include "tessra/serial/SerialPort.h"

#include "platform/kernel/FileUsers.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace tessra {
namespace {

struct Speed {
    std::uint32_t baud;
    speed_t code;
};

// At slower ones, the answer to a version request takes longer than LineSetup::answerMs, and the exchange of an NV item
// longer than the 2 s that clients wait for it.
constexpr Speed kSpeeds[] = {
    {1800, B1800},       {2400, B2400},       {4800, B4800},       {9600, B9600},       {19200, B19200},
    {38400, B38400},     {57600, B57600},     {115200, B115200},   {230400, B230400},   {460800, B460800},
    {500000, B500000},   {576000, B576000},   {921600, B921600},   {1000000, B1000000}, {1152000, B1152000},
    {1500000, B1500000}, {2000000, B2000000}, {2500000, B2500000}, {3000000, B3000000}, {3500000, B3500000},
    {4000000, B4000000},
};

std::string reason(const char* what) {
    return std::string(what) + ": " + std::generic_category().message(errno);
}

// Raw, 8N1, at `speed`; false with errno set. A device takes what it can and says success, so it is read back.
bool setUp(int device, speed_t speed) {
    termios settings{};
    if (::tcgetattr(device, &settings) != 0) {
        return false;
    }
    ::cfmakeraw(&settings);
    settings.c_iflag = 0; // what that leaves: flow control of the input, parity checks
    settings.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | CSTOPB | CRTSCTS);
    settings.c_cflag |= CS8 | CREAD | CLOCAL;
    settings.c_cc[VMIN] = 1; // with nothing to read, a read fails with EAGAIN, and 0 bytes mean a hang-up
    settings.c_cc[VTIME] = 0;
    if (::cfsetispeed(&settings, speed) != 0 || ::cfsetospeed(&settings, speed) != 0 ||
        ::tcsetattr(device, TCSANOW, &settings) != 0 || ::tcgetattr(device, &settings) != 0) {
        return false;
    }
    errno = EINVAL;
    return ::cfgetospeed(&settings) == speed && (settings.c_cflag & CSIZE) == CS8;
}

} // namespace

Status SerialPort::open(const LineSetup& setup, std::string& problem) {
    close();
    const auto speed = std::find_if(std::begin(kSpeeds), std::end(kSpeeds),
                                    [&](const Speed& each) { return each.baud == setup.baud; });
    if (speed == std::end(kSpeeds)) {
        problem = std::to_string(setup.baud) + " baud is none of the speeds of a serial line from 1800 to 4000000";
        return kInvalidBaudRate;
    }
    kernel::FileDescriptor device(::open(setup.device.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!device) {
        const int error = errno;
        problem = reason("can't be opened");
        if (error == EBUSY) {
            problem += "; " + kernel::useText(setup.device);
        } else if (error == EACCES) {
            problem += "; " + kernel::permissionText(kernel::groupOf(setup.device));
        }
        return com::kFail;
    }
    if (::isatty(device.number()) == 0) {
        problem = "is no serial device";
        return com::kFail;
    }
    if (::flock(device.number(), LOCK_EX | LOCK_NB) != 0) {
        problem = kernel::useText(setup.device);
        return com::kFail;
    }
    if (::ioctl(device.number(), TIOCEXCL) != 0) {
        problem = reason("can't be had alone");
        return com::kFail;
    }
    if (!setUp(device.number(), speed->code)) {
        problem = reason("can't be set up");
        const bool isSpeed = errno == EINVAL;
        ::ioctl(device.number(), TIOCNXCL);
        return isSpeed ? kInvalidBaudRate : com::kFail;
    }
    device_ = std::move(device);
    dropReceived();
    return com::kOk;
}

void SerialPort::close() {
    if (device_) {
        ::ioctl(device_.number(), TIOCNXCL); // others may hold the device open, and it would stay exclusive with them
        device_ = {};
    }
}

SerialPort::Wait SerialPort::waitForBytes(Clock::time_point deadline, const kernel::WakeEvent& wake) const {
    return waitFor(POLLIN, deadline, wake);
}

std::ptrdiff_t SerialPort::read(std::span<std::uint8_t> buffer) {
    const ssize_t count = ::read(device_.number(), buffer.data(), buffer.size());
    if (count < 0) {
        return errno == EAGAIN || errno == EINTR ? 0 : -1;
    }
    return count > 0 ? count : -1;
}

bool SerialPort::write(std::span<const std::uint8_t> bytes, Clock::time_point deadline, const kernel::WakeEvent& wake) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(device_.number(), bytes.data(), bytes.size());
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (count == 0 || errno == EAGAIN) {
            if (waitFor(POLLOUT, deadline, wake) != Wait::kReady) {
                return false;
            }
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

void SerialPort::dropReceived() {
    ::tcflush(device_.number(), TCIFLUSH);
}

void SerialPort::dropUnsent() {
    ::tcflush(device_.number(), TCOFLUSH);
}

SerialPort::Wait SerialPort::waitFor(short events, Clock::time_point deadline, const kernel::WakeEvent& wake) const {
    for (;;) {
        const auto left = std::max(deadline - Clock::now(), Clock::duration::zero());
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        const timespec limit{static_cast<time_t>(seconds.count()), static_cast<long>((left - seconds).count())};
        pollfd files[2] = {{device_.number(), events, 0}, {wake.number(), POLLIN, 0}};
        const int count = ::ppoll(files, 2, &limit, nullptr);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count == 0) {
            return Wait::kTimedOut;
        }
        if (count < 0) {
            return Wait::kGone;
        }
        if (files[1].revents != 0) {
            return Wait::kWoken;
        }
        // A device that has hung up looks ready for everything, for ever.
        return (files[0].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0 ? Wait::kGone : Wait::kReady;
    }
}

} // namespace tessra
