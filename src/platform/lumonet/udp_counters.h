// The process's datagram counters. Endpoints add to them once a system call or burst, not once a datagram.
#pragma once

#include <atomic>
#include <cstdint>

namespace udp {

inline std::atomic<uint64_t> g_nSent{0};
inline std::atomic<uint64_t> g_nReceived{0};
inline std::atomic<uint64_t> g_nBytesSent{0};
inline std::atomic<uint64_t> g_nBytesReceived{0};
inline std::atomic<uint64_t> g_nRefused{0};

inline void CountSent(uint64_t datagrams, uint64_t bytes) {
    g_nSent.fetch_add(datagrams, std::memory_order_relaxed);
    g_nBytesSent.fetch_add(bytes, std::memory_order_relaxed);
}
inline void CountReceived(uint64_t datagrams, uint64_t bytes) {
    g_nReceived.fetch_add(datagrams, std::memory_order_relaxed);
    g_nBytesReceived.fetch_add(bytes, std::memory_order_relaxed);
}
inline void CountRefused(uint64_t datagrams) { g_nRefused.fetch_add(datagrams, std::memory_order_relaxed); }

}  // namespace udp
