#include "platform/lumobase/buffer_pool.h"

#include <memory>

CBufferPool::CBufferPool(int rank) : m_cs(rank) {}

CBufferPool::~CBufferPool() { CBufferPool::Flush(); }

void CBufferPool::SetDataBuffer(CDataBuffer* buffer) {
    if (!buffer) return;
    std::unique_ptr<CDataBuffer> owner(buffer);
    CAutoLock lock(&m_cs);
    try {
        m_buffers.push_back(buffer);
    } catch (...) {
        return;  // no memory: the frame is dropped
    }
    owner.release();
    m_nCount.fetch_add(1, std::memory_order_relaxed);
    m_nBytes.fetch_add(static_cast<uint64_t>(buffer->GetLen()), std::memory_order_relaxed);
}

CDataBuffer* CBufferPool::GetDataBuffer() {
    CAutoLock lock(&m_cs);
    if (m_buffers.empty()) return nullptr;
    CDataBuffer* buffer = m_buffers.front();
    m_buffers.pop_front();
    m_nCount.fetch_sub(1, std::memory_order_relaxed);
    m_nBytes.fetch_sub(static_cast<uint64_t>(buffer->GetLen()), std::memory_order_relaxed);
    return buffer;
}

int CBufferPool::GetCount() { return m_nCount.load(std::memory_order_relaxed); }

void CBufferPool::Flush() {
    std::deque<CDataBuffer*> gone;
    {
        CAutoLock lock(&m_cs);
        gone.swap(m_buffers);
        m_nCount.store(0, std::memory_order_relaxed);
        m_nBytes.store(0, std::memory_order_relaxed);
    }
    for (CDataBuffer* buffer : gone) delete buffer;
}
