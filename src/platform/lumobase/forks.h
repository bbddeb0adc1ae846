// Tells a copy of the process that fork() has made from the process itself. All of it stands in this header.
#pragma once

#include <pthread.h>

#include <atomic>

namespace Lumo_Base {

inline std::atomic<unsigned> g_nForks{0};
[[maybe_unused]] inline const int g_nForkHandler =
    pthread_atfork(nullptr, nullptr, [] { g_nForks.fetch_add(1, std::memory_order_relaxed); });

/// How many forks lie between this process and the one that loaded the library.
inline unsigned Forks() { return g_nForks.load(std::memory_order_relaxed); }

}  // namespace Lumo_Base
