#include "platform/window/TopLevelWindow.h"

#include "platform/kernel/Text.h"

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

} // namespace

TopLevelWindow::TopLevelWindow(std::string_view className) : className_(kernel::lowerCase(className)) {
    const std::lock_guard lock(table().lock);
    table().names.insert(className_);
}

TopLevelWindow::~TopLevelWindow() {
    const std::lock_guard lock(table().lock);
    table().names.erase(table().names.find(className_));
}

bool findWindow(std::string_view className) {
    const std::lock_guard lock(table().lock);
    return table().names.contains(kernel::lowerCase(className));
}

} // namespace window
