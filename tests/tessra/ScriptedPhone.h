#pragma once

#include "platform/kernel/FileDescriptor.h"
#include "tessra/serial/FrameCodec.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>

#include <array>
#include <deque>
#include <filesystem>
#include <vector>

/// The other end of a serial line, on which a test hears each packet and says what it likes.
class ScriptedPhone {
public:
    /// `link` is made to lead to the device, whatever it was.
    explicit ScriptedPhone(const std::filesystem::path& link)
        : master_(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
        EXPECT_EQ(::grantpt(master_.number()) + ::unlockpt(master_.number()), 0);
        const char* const device = ::ptsname(master_.number());
        slave_ = kernel::FileDescriptor(::open(device, O_RDWR | O_NOCTTY | O_CLOEXEC));
        termios settings{};
        ::tcgetattr(slave_.number(), &settings);
        ::cfmakeraw(&settings); // nothing is echoed
        ::tcsetattr(slave_.number(), TCSANOW, &settings);
        std::filesystem::remove(link);
        std::filesystem::create_symlink(device, link);
    }

    /// The next packet; empty where none comes in time.
    std::vector<std::uint8_t> hear(int timeoutMs = 20000) {
        while (heard_.empty()) {
            pollfd file{master_.number(), POLLIN, 0};
            if (::poll(&file, 1, timeoutMs) <= 0) {
                return {};
            }
            std::array<std::uint8_t, 1024> buffer;
            const ssize_t count = ::read(master_.number(), buffer.data(), buffer.size());
            std::span<const std::uint8_t> bytes(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
            while (!bytes.empty()) {
                if (decoder_.next(bytes) == tessra::FrameResult::kPacket) {
                    heard_.emplace_back(decoder_.packet().begin(), decoder_.packet().end());
                }
            }
        }
        auto packet = heard_.front();
        heard_.pop_front();
        return packet;
    }

    void say(const std::vector<std::uint8_t>& packet) {
        const auto frame = tessra::encodeFrame(packet);
        EXPECT_EQ(::write(master_.number(), frame.data(), frame.size()), static_cast<ssize_t>(frame.size()));
    }

private:
    kernel::FileDescriptor master_;
    kernel::FileDescriptor slave_;
    tessra::FrameDecoder decoder_;
    std::deque<std::vector<std::uint8_t>> heard_;
};
