// A steady clock for what takes its clock as a template argument.
#pragma once

#include <chrono>

/// Stands still until a test moves it.
struct CHandClock {
    using duration = std::chrono::microseconds;
    using time_point = std::chrono::time_point<CHandClock, duration>;
    static time_point now() { return s_now; }
    static inline time_point s_now{};
};
