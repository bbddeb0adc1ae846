// Waiting for what happens on other threads or in other processes.
#pragma once

#include <chrono>
#include <functional>
#include <thread>

/// Nothing takes so long unless something is wrong.
inline constexpr std::chrono::seconds kLongEnough{60};

/// Asks again and again until `condition` holds; false after a very long time.
inline bool Eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + kLongEnough;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}
