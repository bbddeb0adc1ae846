// The time of day, for what hosts compare with one another. All of it stands in this header.
#pragma once

#include <time.h>

#include <atomic>
#include <cstdint>

namespace Lumo_Base {

inline std::atomic<uint64_t (*)()> g_wallMinutes{nullptr};

/// Minutes since 1970.
inline uint64_t WallMinutes() {
    if (const auto source = g_wallMinutes.load(std::memory_order_relaxed)) return source();
    return static_cast<uint64_t>(time(nullptr)) / 60;
}

/// Test seam: replaces the clock; null gives the real one back.
inline void SetWallMinutes(uint64_t (*source)()) { g_wallMinutes.store(source, std::memory_order_relaxed); }

}  // namespace Lumo_Base
