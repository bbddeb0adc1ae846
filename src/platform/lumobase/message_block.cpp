#include "platform/lumobase/message_block.h"

#include "platform/lumobase/crit_sec.h"

#include <sanitizer/asan_interface.h>

#include <array>
#include <new>

namespace {

struct Stock {
    CCritSec cs;
    std::array<char*, CMessageBlock::kMaxStock> blocks LUMO_GUARDED_BY(cs);
    size_t count LUMO_GUARDED_BY(cs) = 0;

    char* Take() {
        CAutoLock lock(&cs);
        if (count == 0) return nullptr;
        ASAN_UNPOISON_MEMORY_REGION(blocks[count - 1], CMessageBlock::kStockSize);
        return blocks[--count];
    }
    bool Put(char* block) {
        CAutoLock lock(&cs);
        if (count == blocks.size()) return false;
        ASAN_POISON_MEMORY_REGION(block, CMessageBlock::kStockSize);  // whoever still points into it is found
        blocks[count++] = block;
        return true;
    }
};

// Never destroyed: connections of static storage may outlive it.
Stock& GetStock() {
    static auto* stock = new Stock;
    return *stock;
}

}  // namespace

CMessageBlock CMessageBlock::Make(size_t size) {
    const bool stocked = size > kSmallestStocked && size <= kStockSize;
    const size_t capacity = stocked ? kStockSize : size;
    char* bytes = stocked ? GetStock().Take() : nullptr;
    if (!bytes) bytes = new (std::nothrow) char[capacity];
    return bytes ? CMessageBlock(bytes, capacity) : CMessageBlock();
}

void CMessageBlock::Reset() {
    if (m_pBytes && !(m_nCapacity == kStockSize && GetStock().Put(m_pBytes))) delete[] m_pBytes;
    m_pBytes = nullptr;
    m_nCapacity = 0;
}
