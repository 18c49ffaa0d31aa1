#include "app/document/ProgressLines.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

namespace {

/// Reads the number at `cursor`, past the blanks before it, and moves `cursor` behind it.
std::uint16_t takeNumber(const char*& cursor, const char* end) {
    while (cursor != end && *cursor == ' ') {
        ++cursor;
    }
    std::uint64_t number = 0;
    cursor = std::from_chars(cursor, end, number).ptr;
    return static_cast<std::uint16_t>(std::min<std::uint64_t>(number, std::numeric_limits<std::uint16_t>::max()));
}

} // namespace

std::string formatProgressLine(std::uint32_t total, std::uint32_t position, std::uint16_t nvItemId,
                               const std::string& nvItemName) {
    return std::to_string(total) + " " + std::to_string(position) + " " + std::to_string(nvItemId) + " - " + nvItemName;
}

ProgressLine parseProgressLine(const std::string& line) {
    ProgressLine result;
    const char* cursor = line.data();
    const char* const end = cursor + line.size();
    result.total = takeNumber(cursor, end);
    result.position = takeNumber(cursor, end);
    result.text.assign(cursor, end);
    return result;
}

bool ProgressQueue::push(std::string line) {
    const std::lock_guard guard(lock_);
    lines_.push_back(std::move(line));
    return lines_.size() == 1;
}

std::vector<std::string> ProgressQueue::takeAll() {
    const std::lock_guard guard(lock_);
    return std::exchange(lines_, {});
}
