// What a session counts.
#pragma once

#include <atomic>
#include <cstdint>

/// A snapshot of one session's counters since it was made.
struct SessionStatistics {
    uint64_t packetsSent = 0;      // repetitions and acknowledgements included
    uint64_t packetsReceived = 0;  // well-formed ones
    uint64_t bytesSent = 0;        // payload, repetitions included
    uint64_t bytesReceived = 0;    // payload, duplicates included
    uint64_t framesSent = 0;       // handed to the session
    uint64_t framesReceived = 0;   // delivered
    uint64_t retransmitted = 0;
    uint64_t duplicates = 0;
    uint32_t roundTripMs = 0;  // smoothed, of packets sent once; 0 until measured
    bool wide = false;         // what follows is a wide session's, as a sender
    uint64_t bandwidth = 0;    // bytes a second with all headers; 0 until measured, as the next
    uint64_t smallestRoundTripUs = 0;
    uint64_t inFlight = 0;           // bytes with all headers
    uint32_t undeliveredFrames = 0;  // that it has taken and the far side does not have whole
    uint64_t undeliveredBytes = 0;
    uint64_t lost = 0;  // packets taken for lost
};

/// All sessions of the process, ended ones included.
struct SessionTotals {
    uint64_t retransmitted;
    uint64_t duplicates;
};
SessionTotals GetSessionTotals();

namespace session {

/// Written by one thread at a time, read by any: an increment needs no locked instruction.
class CCounter {
public:
    void Add(uint64_t count = 1) { m_nCount.store(Get() + count, std::memory_order_relaxed); }
    uint64_t Get() const { return m_nCount.load(std::memory_order_relaxed); }

private:
    std::atomic<uint64_t> m_nCount{0};
};

void CountRetransmitted();
void CountDuplicate();

}  // namespace session
