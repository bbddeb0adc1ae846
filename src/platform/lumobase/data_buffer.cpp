#include "platform/lumobase/data_buffer.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

CDataBuffer::CDataBuffer() : m_pData(nullptr), m_nLen(0) {}

CDataBuffer::~CDataBuffer() { std::free(m_pData); }

bool CDataBuffer::StoreData(const char* data, int length) {
    const bool valid = length == 0 || (data != nullptr && length > 0);
    char* copy = nullptr;
    if (valid && length > 0) copy = static_cast<char*>(std::malloc(static_cast<size_t>(length)));
    // Copied before the old block goes: the source may lie in it.
    if (copy) std::memcpy(copy, data, static_cast<size_t>(length));
    std::free(m_pData);
    m_pData = copy;
    m_nLen = copy ? length : 0;
    return valid && m_nLen == length;
}
