#include "cli/ProgressBar.h"

#include "platform/kernel/Text.h"
#include "workbench/MessageText.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace {

constexpr std::uint32_t kBarCells = 30;
constexpr std::size_t kLabelCells = 33; ///< without the dots behind one that is longer
constexpr std::int64_t kRedrawIntervalMs = 50;

std::int64_t nowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

/// Not by the stream, which shows the signs that move the cursor instead of sending them.
void draw(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fflush(stderr);
}

} // namespace

ProgressBar::ProgressBar() : visible_(::isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
    clear();
}

void ProgressBar::clear() {
    if (drawn_) {
        draw("\r\033[K");
        drawn_ = false;
    }
}

void ProgressBar::show(std::uint32_t position, std::uint32_t count, const std::string& label) {
    const std::int64_t now = nowMs();
    if (!visible_ || count == 0 || (drawn_ && position != count && now - lastDrawnMs_ < kRedrawIntervalMs)) {
        return;
    }
    const auto filled = static_cast<std::uint32_t>(std::uint64_t{kBarCells} * std::min(position, count) / count);
    draw("\r[" + std::string(filled, '#') + std::string(kBarCells - filled, '.') + "] " + std::to_string(position) +
         "/" + std::to_string(count) + " " + kernel::shortened(workbench::shownText(label), kLabelCells) + "\033[K");
    drawn_ = true;
    lastDrawnMs_ = now;
}
