#include "platform/lumobase/data_buffer.h"

#include <cstring>
#include <utility>

bool CDataBuffer::StoreData(const char* data, int length) {
    const bool valid = length == 0 || (data != nullptr && length > 0);
    CMessageBlock copy;
    if (valid && length > 0) copy = CMessageBlock::Make(static_cast<size_t>(length));
    // Copied before the old block goes: the source may lie in it.
    if (copy) std::memcpy(copy.Get(), data, static_cast<size_t>(length));
    m_block = std::move(copy);
    m_nLen = m_block ? length : 0;
    return valid && m_nLen == length;
}
