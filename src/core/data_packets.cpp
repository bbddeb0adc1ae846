#include "lumomedia/packet.h"

#include <cstdlib>

CDataOutPacket::CDataOutPacket(bool own, int size)
    : m_pBuffer(size < 0 ? nullptr : static_cast<unsigned char*>(std::malloc(static_cast<size_t>(size)))),
      m_nCapacity(m_pBuffer ? size : 0),
      m_pCursor(m_pBuffer),
      m_bOwnsBuffer(own) {}

CDataOutPacket::CDataOutPacket(const CDataOutPacket&) = default;
CDataOutPacket& CDataOutPacket::operator=(const CDataOutPacket&) = default;

CDataOutPacket::~CDataOutPacket() {
    if (m_bOwnsBuffer) std::free(m_pBuffer);
}

unsigned char* CDataOutPacket::GetData() { return m_pBuffer; }
int CDataOutPacket::GetLength() { return static_cast<int>(m_pCursor - m_pBuffer); }
void CDataOutPacket::Reset() { m_pCursor = m_pBuffer; }

unsigned char* CDataOutPacket::Skip(int count) {
    unsigned char* before = m_pCursor;
    m_pCursor += count;
    return before;
}

unsigned char* CDataOutPacket::SetCursor(unsigned char* cursor) {
    unsigned char* before = m_pCursor;
    m_pCursor = cursor;
    return before;
}

CDataInPacket::CDataInPacket(char* data, int length) : m_pCursor(data), m_pStart(data), m_nLength(length) {}
CDataInPacket& CDataInPacket::operator=(const CDataInPacket&) = default;
int CDataInPacket::GetLength() { return m_nLength; }
