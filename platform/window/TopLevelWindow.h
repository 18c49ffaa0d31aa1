#pragma once

#include <string>
#include <string_view>

namespace window {

/// A top-level window as far as other parts of the process can tell: while the object lives, a window of its class can
/// be found. Any thread may make, look for and destroy them.
class TopLevelWindow {
public:
    explicit TopLevelWindow(std::string_view className);
    ~TopLevelWindow();
    TopLevelWindow(const TopLevelWindow&) = delete;
    TopLevelWindow& operator=(const TopLevelWindow&) = delete;

private:
    const std::string className_;
};

/// Whether a top-level window of this class exists. Class names are compared without regard to case.
bool findWindow(std::string_view className);

} // namespace window
