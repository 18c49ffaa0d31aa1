#include "cli/ProgressBar.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iostream>

namespace {

constexpr std::uint32_t kBarCells = 30;
constexpr std::size_t kLabelCells = 36;
constexpr std::int64_t kRedrawIntervalMs = 50;

std::int64_t nowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace

ProgressBar::ProgressBar() : visible_(::isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
    if (drawn_) {
        std::cerr << "\r\033[K" << std::flush;
    }
}

void ProgressBar::show(std::uint32_t position, std::uint32_t count, const std::string& label) {
    const std::int64_t now = nowMs();
    if (!visible_ || count == 0 || (drawn_ && position != count && now - lastDrawnMs_ < kRedrawIntervalMs)) {
        return;
    }
    const auto filled = static_cast<std::uint32_t>(std::uint64_t{kBarCells} * std::min(position, count) / count);
    std::cerr << "\r[" << std::string(filled, '#') << std::string(kBarCells - filled, '.') << "] " << position << "/"
              << count << " " << label.substr(0, kLabelCells) << "\033[K" << std::flush;
    drawn_ = true;
    lastDrawnMs_ = now;
}
