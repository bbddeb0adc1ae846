// An owned copy of a byte block.
#pragma once

#include "platform/lumobase/message_block.h"

/// Not synchronised.
class CDataBuffer {
public:
    CDataBuffer() = default;
    virtual ~CDataBuffer() = default;
    CDataBuffer(const CDataBuffer&) = delete;
    CDataBuffer& operator=(const CDataBuffer&) = delete;

    /// Replaces the content by a copy; false, with the content gone, when the memory is not to be had.
    bool StoreData(const char* data, int length);
    char* GetData() { return m_block.Get(); }
    int GetLen() const { return m_nLen; }

private:
    CMessageBlock m_block;
    int m_nLen = 0;
};
