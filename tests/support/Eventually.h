#pragma once

#include <chrono>
#include <functional>
#include <thread>

/// Waits until `condition` holds; false where it does not within 30 s, which is longer than anything here may take.
inline bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
