// The frames of a link that leave only when nothing else waits.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"
#include "platform/lumobase/data_buffer.h"
#include "platform/lumobase/newest.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

/// Of each key the newest. Any thread.
class CNewestFrames {
public:
    using Frame = std::unique_ptr<CDataBuffer>;

    /// False, with the frame gone, when too many keys wait.
    bool Put(uint64_t key, Frame frame) {
        CAutoLock lock(&m_cs);
        if (!m_frames.Takes(key)) return false;
        m_frames.Put(key, std::move(frame));
        m_bEmpty.store(false, std::memory_order_seq_cst);
        return true;
    }
    /// The one whose key waits longest, or null.
    Frame Take() {
        Frame frame;
        if (IsEmpty()) return frame;
        CAutoLock lock(&m_cs);
        m_frames.Take(frame);
        m_bEmpty.store(m_frames.IsEmpty(), std::memory_order_seq_cst);
        return frame;
    }
    void Drop() {
        while (Take()) continue;
    }
    /// One atomic load.
    bool IsEmpty() const { return m_bEmpty.load(std::memory_order_seq_cst); }

private:
    CCritSec m_cs{lock_order::kFrameQueue};
    CNewest<Frame> m_frames LUMO_GUARDED_BY(m_cs);
    std::atomic<bool> m_bEmpty{true};
};
