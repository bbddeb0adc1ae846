// Two networks and a path between them that has a rate, a delay and a queue, and loses packets.
#pragma once

#include "bench/path/network_space.h"
#include "bench/path/path_spec.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace bench {

/// One direction: what comes out of one cable goes into the other, late, or not at all. A thread of its own runs it.
class CPathDirection {
public:
    CPathDirection(const PathSpec& spec, int from, int to, uint64_t seed);
    ~CPathDirection();
    CPathDirection(const CPathDirection&) = delete;
    CPathDirection& operator=(const CPathDirection&) = delete;

    uint64_t Packets() const { return m_nPackets; }
    uint64_t QueueDrops() const { return m_nQueueDrops; }
    /// Milliseconds that a packet waited in the queue, in the middle of all.
    double MedianQueueMs() const;

private:
    struct Packet {
        int64_t due;  // ns
        std::vector<char> bytes;
    };

    void Run();
    void TakeIn(int64_t now);
    void Accept(int64_t now, size_t length);
    void LetOut(int64_t now);
    bool IsLost();

    const PathSpec m_spec;
    const int m_from, m_to;
    uint64_t m_random;
    int64_t m_freeAt = 0;  // when the queue is empty, ns
    std::deque<Packet> m_way;
    std::vector<char> m_buffer;
    std::vector<uint64_t> m_waits;  // how many packets waited so many tenths of a millisecond
    std::atomic<uint64_t> m_nPackets{0}, m_nQueueDrops{0};
    std::atomic<bool> m_bEnds{false};
    std::thread m_thread;
};

/// Straight from the sender to the receiver, or two such paths with a relay server between them.
class CPathEmulator {
public:
    CPathEmulator(const PathSpec& spec, bool relayed);

    const CNetworkSpace& Sender() const { return *m_spaces.front(); }
    const CNetworkSpace& Receiver() const { return *m_spaces.back(); }
    const CNetworkSpace& Server() const { return *m_spaces.at(1); }
    /// Away from the sender.
    const CPathDirection& Out() const { return *m_directions.front(); }

private:
    void Join(const PathSpec& spec, int left, int right);

    std::vector<std::unique_ptr<CNetworkSpace>> m_spaces;
    std::vector<std::unique_ptr<CPathDirection>> m_directions;
};

}  // namespace bench
