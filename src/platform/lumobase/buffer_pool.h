// A queue of byte blocks between two threads.
#pragma once

#include "platform/lumobase/crit_sec.h"
#include "platform/lumobase/data_buffer.h"

#include <atomic>
#include <cstdint>
#include <deque>

/// First in, first out; owns what it holds. Every operation is safe from any thread.
class CBufferPool {
public:
    /// The rank is the place of the pool's own lock in the lock order.
    explicit CBufferPool(int rank = 0);
    virtual ~CBufferPool();
    CBufferPool(const CBufferPool&) = delete;
    CBufferPool& operator=(const CBufferPool&) = delete;

    /// Appends a buffer and takes ownership.
    virtual void SetDataBuffer(CDataBuffer* buffer);
    /// Removes and returns the oldest buffer (the caller's from then on), or null.
    virtual CDataBuffer* GetDataBuffer();
    /// Buffers held: one atomic load.
    virtual int GetCount();
    /// Deletes every buffer held.
    virtual void Flush();

    /// Bytes held: one atomic load.
    uint64_t GetByteCount() const { return m_nBytes.load(std::memory_order_relaxed); }

private:
    CCritSec m_cs;
    std::deque<CDataBuffer*> m_buffers LUMO_GUARDED_BY(m_cs);
    std::atomic<int> m_nCount{0};
    std::atomic<uint64_t> m_nBytes{0};
};
