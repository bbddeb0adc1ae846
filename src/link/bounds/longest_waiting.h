// The frame that a queue's limit does not count.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

/// The longest frame since the queue was last empty. A queue's limit applies to what waits beside it: a subscriber that
/// is sent a long frame has not fallen behind. Any thread.
class CLongestWaiting {
public:
    /// A frame is about to enter a queue.
    void Note(uint64_t length, bool queueEmpty) {
        const uint64_t before = queueEmpty ? 0 : m_nBytes.load(std::memory_order_relaxed);
        m_nBytes.store(std::max(before, length), std::memory_order_relaxed);
    }
    bool IsOver(uint64_t waiting, uint64_t limit) const {
        return waiting > limit + m_nBytes.load(std::memory_order_relaxed);
    }

private:
    std::atomic<uint64_t> m_nBytes{0};
};
