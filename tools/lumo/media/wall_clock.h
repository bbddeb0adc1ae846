// The time that two processes of one machine agree upon.
#pragma once

#include <chrono>
#include <cstdint>

namespace lumo {

/// Microseconds since 1970.
inline uint64_t WallClockUs() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

}  // namespace lumo
