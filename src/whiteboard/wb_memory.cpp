#include "whiteboard/wb_memory.h"

#include <utility>

CWBMemory& CWBMemory::Get() {
    static CWBMemory memory;
    return memory;
}

void CWBMemory::SetLimit(uint64_t bytes, uint64_t quota, CCidrList exempt) {
    exempt.emplace_back(0, 32);  // this process
    m_quotas.SetLimit(quota, std::move(exempt));
    m_nLimit.store(bytes, std::memory_order_relaxed);
}

bool CWBMemory::Take(uint32_t owner, uint64_t bytes) {
    if (!m_quotas.Take(owner, bytes)) return false;
    if (m_nUsed.fetch_add(bytes, std::memory_order_relaxed) + bytes <= m_nLimit.load(std::memory_order_relaxed))
        return true;
    Return(owner, bytes);
    return false;
}

void CWBMemory::Return(uint32_t owner, uint64_t bytes) {
    m_nUsed.fetch_sub(bytes, std::memory_order_relaxed);
    m_quotas.Return(owner, bytes);
}
