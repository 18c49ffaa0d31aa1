#include "tessra/simulator/PhoneTerminal.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

namespace tessra {
namespace {

using std::chrono::milliseconds;

constexpr std::uint8_t kGarbage = 0x55;

constexpr std::int64_t kBitsPerByte = 10; // with start and stop bit
// A paced line gives bytes in portions of a usual receiver's buffer.
constexpr std::size_t kPacedPortion = 16;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// Where the symbolic link at `link` leads; empty where there is none.
std::string targetOf(const std::filesystem::path& link) {
    std::error_code none;
    return std::filesystem::read_symlink(link, none).string();
}

// Whether `path` is the name of a pseudo-terminal, which may be gone by now.
bool isTerminal(const std::string& path) {
    constexpr std::string_view kFolder = "/dev/pts/";
    const auto afterNumber = path.find_first_not_of("0123456789", kFolder.size());
    return path.starts_with(kFolder) && path.size() > kFolder.size() && afterNumber == std::string::npos;
}

// Removes the symbolic link at `link` if it leads to `target`: anything else there is somebody else's.
void removeLink(const std::filesystem::path& link, const std::string& target) {
    if (targetOf(link) == target) {
        std::error_code ignored;
        std::filesystem::remove(link, ignored);
    }
}

} // namespace

PhoneTerminal::PhoneTerminal(PhoneModel& phone, std::filesystem::path link)
    : PhoneTerminal(
          [&phone](std::span<const std::uint8_t> packet) {
              const Bytes answer = phone.answer(packet);
              return answer.empty() ? Bytes() : encodeFrame(answer);
          },
          std::move(link)) {
    phone_ = &phone;
}

PhoneTerminal::PhoneTerminal(Answers answers, std::filesystem::path link)
    : answers_(std::move(answers)), link_(std::move(link)) {
    const std::lock_guard guard(lock_);
    // What a simulator that was killed has left behind leads to a terminal.
    if (const std::string target = targetOf(link_); isTerminal(target)) {
        removeLink(link_, target);
    }
    plugLocked();
}

PhoneTerminal::~PhoneTerminal() {
    const std::lock_guard guard(lock_);
    unplugLocked();
}

void PhoneTerminal::run() {
    ::prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL); // a byte of a paced line is 87 us
    std::unique_lock guard(lock_);
    while (!stopped_) {
        if (backAt_ && Clock::now() >= *backAt_) {
            plugLocked();
        }
        pollfd files[2] = {{wake_.number(), POLLIN, 0},
                           {master_.number(), static_cast<short>(babbles_ ? POLLIN | POLLOUT : POLLIN), 0}};
        const int timeout = pollTimeoutLocked();
        guard.unlock();
        ::poll(files, 2, timeout);
        guard.lock();
        if (files[0].revents != 0) {
            wake_.clear();
        }
        if (files[1].fd != master_.number()) {
            continue; // replaced meanwhile
        }
        if ((files[1].revents & POLLIN) != 0) {
            std::array<std::uint8_t, 1024> buffer;
            const ssize_t count = ::read(master_.number(), buffer.data(), buffer.size());
            if (count > 0) {
                serveLocked({buffer.data(), static_cast<std::size_t>(count)}, guard);
            }
        }
        if (babbles_ && (files[1].revents & POLLOUT) != 0) {
            babbleLocked();
        }
    }
}

void PhoneTerminal::stop() {
    stopped_ = true;
    wake_.signal();
}

std::string PhoneTerminal::device() const {
    const std::lock_guard guard(lock_);
    return device_;
}

void PhoneTerminal::setFaults(const LineFaults& faults) {
    const std::lock_guard guard(lock_);
    faults_ = faults;
    faultPackets_ = 0;
    doubled_.clear();
    babbles_ = false;
    random_.seed(faults.seed);
    bytesToLoss_ = drawDistance(faults.lostBytes);
    bitsToError_ = drawDistance(faults.bitErrors);
    wake_.signal();
}

void PhoneTerminal::setPlugged(bool plugged) {
    const std::lock_guard guard(lock_);
    if (!plugged) {
        unplugLocked();
    } else if (!master_) {
        plugLocked();
    }
    wake_.signal();
}

void PhoneTerminal::setPaced(std::uint32_t baud) {
    const std::lock_guard guard(lock_);
    baud_ = baud;
}

void PhoneTerminal::setStopped(bool stopped) {
    const std::lock_guard guard(lock_);
    ::tcflow(slave_.number(), stopped ? TCOOFF : TCOON);
}

void PhoneTerminal::withPhone(const std::function<void(PhoneModel&)>& action) {
    const std::lock_guard guard(lock_);
    action(*phone_);
}

void PhoneTerminal::plugLocked() {
    kernel::FileDescriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    std::array<char, 64> name{};
    if (!master || ::grantpt(master.number()) != 0 || ::unlockpt(master.number()) != 0 ||
        ::ptsname_r(master.number(), name.data(), name.size()) != 0) {
        fail("pseudo-terminal");
    }
    kernel::FileDescriptor slave(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios settings{};
    if (!slave || ::tcgetattr(slave.number(), &settings) != 0) {
        fail(name.data());
    }
    ::cfmakeraw(&settings); // nothing is echoed before a client sets the line up
    if (::tcsetattr(slave.number(), TCSANOW, &settings) != 0) {
        fail(name.data());
    }
    if (!link_.empty() && ::symlink(name.data(), link_.c_str()) != 0) {
        fail(link_.c_str());
    }
    master_ = std::move(master);
    slave_ = std::move(slave);
    device_ = name.data();
    decoder_.abandonFrame();
    babbles_ = false;
    backAt_.reset();
}

void PhoneTerminal::unplugLocked() {
    backAt_.reset();
    if (!master_) {
        return;
    }
    if (!link_.empty()) {
        removeLink(link_, device_);
    }
    device_.clear();
    slave_ = kernel::FileDescriptor();
    master_ = kernel::FileDescriptor();
}

int PhoneTerminal::pollTimeoutLocked() const {
    if (!backAt_) {
        return -1;
    }
    const auto left = std::chrono::ceil<milliseconds>(*backAt_ - Clock::now());
    return static_cast<int>(std::max<milliseconds::rep>(left.count(), 0));
}

void PhoneTerminal::serveLocked(std::span<const std::uint8_t> bytes, std::unique_lock<std::mutex>& guard) {
    bytes_ += bytes.size();
    wireFreeAt_ = wireEndLocked(std::max(wireFreeAt_, Clock::now()), bytes.size());
    pauseUntil(wireFreeAt_, guard);
    if (faults_.echoes) {
        sendLocked(bytes, guard);
    }
    const Bytes arrived = faults_.sparesRequests ? Bytes(bytes.begin(), bytes.end()) : withErrors(bytes);
    std::span<const std::uint8_t> rest(arrived);
    while (master_ && !rest.empty()) {
        if (decoder_.next(rest) == FrameResult::kPacket) {
            const Bytes packet(decoder_.packet().begin(), decoder_.packet().end());
            answerLocked(packet, guard);
        }
    }
}

void PhoneTerminal::answerLocked(std::span<const std::uint8_t> packet, std::unique_lock<std::mutex>& guard) {
    ++packets_;
    ++faultPackets_;
    const auto reached = [this](std::uint32_t limit) { return limit != 0 && faultPackets_ >= limit; };
    if (reached(faults_.unplugAt)) {
        const std::int32_t backAfterMs = faults_.backAfterMs;
        faults_.unplugAt = 0;
        unplugLocked();
        if (backAfterMs >= 0) {
            backAt_ = Clock::now() + milliseconds(backAfterMs);
        }
        return;
    }
    if (reached(faults_.silentFrom) || babbles_) {
        return;
    }
    if (reached(faults_.babbleFrom)) {
        babbles_ = true;
        return;
    }
    const Bytes frame = answers_(packet);
    if (frame.empty()) {
        return;
    }
    sendLocked(withErrors(Bytes(faults_.garbageBytes, kGarbage)), guard);
    if (faults_.delayMs > 0) {
        wireFreeAt_ = std::max(wireFreeAt_, Clock::now() + milliseconds(faults_.delayMs));
        pauseUntil(wireFreeAt_, guard);
    }
    sendLocked(withErrors(std::exchange(doubled_, {})), guard);
    sendLocked(withErrors(frame), guard);
    if (faults_.doubledAnswers > 0 && std::bernoulli_distribution(faults_.doubledAnswers)(random_)) {
        doubled_ = frame;
    }
}

void PhoneTerminal::babbleLocked() {
    std::array<std::uint8_t, 1024> bytes;
    bytes.fill(kGarbage);
    [[maybe_unused]] const auto written = ::write(master_.number(), bytes.data(), bytes.size());
}

PhoneTerminal::Clock::time_point PhoneTerminal::wireEndLocked(Clock::time_point begin, std::size_t bytes) const {
    const auto bits = static_cast<std::int64_t>(bytes) * kBitsPerByte;
    return baud_ == 0 ? begin : begin + std::chrono::nanoseconds(bits * 1'000'000'000 / baud_);
}

// Each portion of a paced line has its time, counted from when the line became free: being late with one does not make
// the next one later.
void PhoneTerminal::sendLocked(std::span<const std::uint8_t> bytes, std::unique_lock<std::mutex>& guard) {
    bytes_ += bytes.size();
    const auto begin = wireFreeAt_;
    wireFreeAt_ = wireEndLocked(begin, bytes.size());
    const std::size_t portion = baud_ == 0 ? bytes.size() : kPacedPortion;
    for (std::size_t sent = 0; sent < bytes.size(); sent += portion) {
        const auto part = bytes.subspan(sent, std::min(portion, bytes.size() - sent));
        pauseUntil(wireEndLocked(begin, sent + part.size()), guard);
        putLocked(part);
    }
}

// What a client does not take within a second is lost, as on a line.
void PhoneTerminal::putLocked(std::span<const std::uint8_t> bytes) {
    while (master_ && !bytes.empty()) {
        const ssize_t count = ::write(master_.number(), bytes.data(), bytes.size());
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
            continue;
        }
        pollfd file{master_.number(), POLLOUT, 0};
        if ((count < 0 && errno != EAGAIN && errno != EINTR) || ::poll(&file, 1, 1000) <= 0) {
            return;
        }
    }
}

// The bytes as they come out at the other end of the line.
PhoneTerminal::Bytes PhoneTerminal::withErrors(std::span<const std::uint8_t> bytes) {
    if (faults_.bitErrors <= 0 && faults_.lostBytes <= 0) {
        return {bytes.begin(), bytes.end()};
    }
    Bytes result;
    for (std::uint8_t byte : bytes) {
        if (bytesToLoss_-- == 0) {
            bytesToLoss_ = drawDistance(faults_.lostBytes);
            continue;
        }
        while (bitsToError_ < 8) {
            byte = static_cast<std::uint8_t>(byte ^ (1U << bitsToError_));
            bitsToError_ += 1 + drawDistance(faults_.bitErrors);
        }
        bitsToError_ -= 8;
        result.push_back(byte);
    }
    return result;
}

// How many are spared before the next one that an error of this probability meets.
std::uint64_t PhoneTerminal::drawDistance(double probability) {
    constexpr std::uint64_t kNever = std::uint64_t{1} << 62;
    if (probability <= 0) {
        return kNever;
    }
    return probability >= 1 ? 0 : std::geometric_distribution<std::uint64_t>(probability)(random_);
}

// Others may change the faults and the plug meanwhile.
void PhoneTerminal::pauseUntil(Clock::time_point end, std::unique_lock<std::mutex>& guard) {
    while (master_ && !stopped_ && Clock::now() < end) {
        const auto left = std::max(end - Clock::now(), Clock::duration::zero());
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
        const timespec limit{static_cast<time_t>(seconds.count()), static_cast<long>((left - seconds).count())};
        pollfd file{wake_.number(), POLLIN, 0};
        guard.unlock();
        ::ppoll(&file, 1, &limit, nullptr);
        wake_.clear();
        guard.lock();
    }
}

} // namespace tessra
