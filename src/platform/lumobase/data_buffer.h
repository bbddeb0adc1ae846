// An owned copy of a byte block.
#pragma once

/// Not synchronised.
class CDataBuffer {
public:
    CDataBuffer();
    virtual ~CDataBuffer();
    CDataBuffer(const CDataBuffer&) = delete;
    CDataBuffer& operator=(const CDataBuffer&) = delete;

    /// Replaces the content by a copy; false, with the content gone, when the memory is not to be had.
    bool StoreData(const char* data, int length);
    char* GetData() { return m_pData; }
    int GetLen() const { return m_nLen; }

private:
    char* m_pData;
    int m_nLen;
};
