#include "whiteboard/wb_memory.h"

CWBMemory& CWBMemory::Get() {
    static CWBMemory memory;
    return memory;
}

bool CWBMemory::Take(uint64_t bytes) {
    if (m_nUsed.fetch_add(bytes, std::memory_order_relaxed) + bytes <= m_nLimit.load(std::memory_order_relaxed))
        return true;
    Return(bytes);
    return false;
}
