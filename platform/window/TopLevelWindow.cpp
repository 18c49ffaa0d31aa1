#include "platform/window/TopLevelWindow.h"

#include <algorithm>
#include <mutex>
#include <set>

namespace window {

namespace {

struct ClassTable {
    std::mutex lock;
    std::multiset<std::string> names; // lower case, once per window; guarded by lock
};

ClassTable& table() {
    static ClassTable instance;
    return instance;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lower;
}

} // namespace

TopLevelWindow::TopLevelWindow(std::string_view className) : className_(lowerCase(className)) {
    const std::lock_guard lock(table().lock);
    table().names.insert(className_);
}

TopLevelWindow::~TopLevelWindow() {
    const std::lock_guard lock(table().lock);
    table().names.erase(table().names.find(className_));
}

bool findWindow(std::string_view className) {
    const std::lock_guard lock(table().lock);
    return table().names.contains(lowerCase(className));
}

} // namespace window
