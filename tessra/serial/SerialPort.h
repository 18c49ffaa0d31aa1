#pragma once

#include "platform/kernel/FileDescriptor.h"
#include "platform/kernel/WakeEvent.h"
#include "tessra/Interfaces.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

namespace tessra {

/// The serial line of a port.
struct LineSetup {
    std::filesystem::path device; ///< empty: the port has no line
    std::uint32_t baud = 115200;  ///< see SerialPort for the speeds that there are
    /// How often the service asks an idle line for its phone, and tries again to open one that can't be opened.
    std::uint32_t askEveryMs = 1000;
    /// How long it waits then for the answer.
    std::uint32_t answerMs = 500;
    /// A line that was silent for so long will not finish the frame that it has begun.
    std::uint32_t quietMs = 50;
};

/// A serial device of the operating system: raw bytes, 8 data bits, no parity, one stop bit, no flow control, at one of
/// the speeds from 1800 to 4000000 baud that POSIX and Linux name. One thread at a time uses it.
class SerialPort {
public:
    using Clock = std::chrono::steady_clock;
    enum class Wait : std::uint8_t { kReady, kTimedOut, kWoken, kGone };

    SerialPort() = default;
    ~SerialPort() { close(); }
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    /// Opens the device for this object alone: another program that plays by the rules (a lock by flock(), and
    /// exclusive mode) can't open it meanwhile. What was received before is dropped. kInvalidBaudRate for a speed that
    /// is none or that the device does not take, com::kFail where the device can't be had; `problem` says why.
    Status open(const LineSetup& setup, std::string& problem);
    void close();
    bool isOpen() const { return static_cast<bool>(device_); }
    int number() const { return device_.number(); }

    /// Sleeps until there are bytes to be read, at the latest until `deadline`. gone: the device has left.
    Wait waitForBytes(Clock::time_point deadline, const kernel::WakeEvent& wake) const;
    /// What has come, up to the size of `buffer`; 0: nothing has, -1: the device has left.
    std::ptrdiff_t read(std::span<std::uint8_t> buffer);
    /// True when all of `bytes` are on their way; false where the device has left or does not take them by `deadline`
    /// or until it is woken: some of them may have gone out then.
    bool write(std::span<const std::uint8_t> bytes, Clock::time_point deadline, const kernel::WakeEvent& wake);
    /// Drops what has been received and not been read.
    void dropReceived();
    /// Drops what has been written and has not gone out.
    void dropUnsent();

private:
    Wait waitFor(short events, Clock::time_point deadline, const kernel::WakeEvent& wake) const;

    kernel::FileDescriptor device_;
};

} // namespace tessra
