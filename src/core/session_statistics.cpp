#include "core/session_statistics.h"

namespace {

std::atomic<uint64_t> g_nRetransmitted{0};
std::atomic<uint64_t> g_nDuplicates{0};

}  // namespace

SessionTotals GetSessionTotals() {
    return {g_nRetransmitted.load(std::memory_order_relaxed), g_nDuplicates.load(std::memory_order_relaxed)};
}

void session::CountRetransmitted() { g_nRetransmitted.fetch_add(1, std::memory_order_relaxed); }
void session::CountDuplicate() { g_nDuplicates.fetch_add(1, std::memory_order_relaxed); }
