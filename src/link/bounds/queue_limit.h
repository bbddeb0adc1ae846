// How much may wait at one endpoint.
#pragma once

#include "link/bounds/limits.h"

#include <algorithm>
#include <atomic>
#include <cstdint>

/// The limit of one queue, whether a frame has been turned away, and how many were dropped. The limit applies to what
/// waits beside the longest frame: who is sent a long one has not fallen behind. Bytes as limits::QueueCost counts
/// them. Any thread.
class CQueueLimit {
public:
    explicit CQueueLimit(uint64_t bytes = limits::kMaxQueueBytes) : m_nBytes(bytes) {}

    uint64_t Bytes() const { return m_nBytes.load(std::memory_order_relaxed); }
    void Set(uint64_t bytes) { m_nBytes.store(bytes, std::memory_order_relaxed); }

    /// Whether a frame may enter a queue where so much waits. Once one may not, none may until the queue is dropped:
    /// what followed would come with a gap.
    bool Admits(uint64_t waiting) {
        if (IsOver(waiting)) MarkOverrun();
        return !IsOverrun();
    }
    /// The same, and the frame enters at once.
    bool Take(uint64_t waiting, int length) {
        if (!Admits(waiting)) return false;
        Note(waiting, length);
        return true;
    }
    /// A frame that was admitted enters.
    void Note(uint64_t waiting, int length) {
        const uint64_t before = waiting == 0 ? 0 : m_nLongest.load(std::memory_order_relaxed);
        m_nLongest.store(std::max(before, static_cast<uint64_t>(length)), std::memory_order_relaxed);
    }
    /// Where the newest frame is dropped and those after it may come: whether this one has room.
    bool HasRoom(uint64_t waiting, int length) const { return waiting + static_cast<uint64_t>(length) <= Bytes(); }

    bool IsOver(uint64_t waiting) const { return waiting > Bytes() + m_nLongest.load(std::memory_order_relaxed); }
    bool IsOverrun() const { return m_bOverrun.load(std::memory_order_relaxed); }
    void MarkOverrun() { m_bOverrun.store(true, std::memory_order_relaxed); }
    /// So many frames are dropped from the queue, which may take frames again.
    void Reset(uint64_t dropped) {
        CountDropped(dropped);
        m_bOverrun.store(false, std::memory_order_relaxed);
    }
    void CountDropped(uint64_t frames) { m_nDropped.fetch_add(frames, std::memory_order_relaxed); }
    uint64_t Dropped() const { return m_nDropped.load(std::memory_order_relaxed); }

private:
    std::atomic<uint64_t> m_nBytes;
    std::atomic<uint64_t> m_nLongest{0};  // since the queue was last empty
    std::atomic<bool> m_bOverrun{false};
    std::atomic<uint64_t> m_nDropped{0};
};
