#include "core/send_window.h"

#include <cstdlib>
#include <new>

CSendPacket::~CSendPacket() { std::free(m_pMemory); }

bool CSendPacket::Renew(int payloadLength) {
    const int length = session::kHeaderLen + payloadLength;
    if (length > m_nCapacity) {
        std::free(m_pMemory);
        m_pMemory = static_cast<char*>(std::malloc(static_cast<size_t>(session::kEnvelopeRoom + length)));
        m_nCapacity = m_pMemory ? length : 0;
        if (!m_pMemory) return false;
    }
    char* header = m_pMemory + session::kEnvelopeRoom;
    std::memset(header, 0, session::kHeaderLen);
    CSCTPPacket::operator=(CSCTPPacket(header, length));
    return true;
}

CSendPacket* CSendWindow::Prepare(int payloadLength) {
    if (m_nSize >= session::kMaxWindow) return nullptr;
    if (!m_pSlots) m_pSlots.reset(new (std::nothrow) Slots);
    if (!m_pSlots) return nullptr;
    CSendPacket*& next = m_pSlots->ring[Slot(m_nSize)];
    if (!next) next = m_nSpare > 0 ? m_pSlots->spare[--m_nSpare] : new (std::nothrow) CSendPacket;
    return next && next->Renew(payloadLength) ? next : nullptr;
}

void CSendWindow::Append() { ++m_nSize; }

void CSendWindow::Remove(uint32_t index) {
    Recycle(At(index));
    if (index == 0) {
        m_pSlots->ring[m_nHead++] = nullptr;
        --m_nSize;
        return;
    }
    for (uint32_t i = index; i <= m_nSize; ++i) m_pSlots->ring[Slot(i)] = m_pSlots->ring[Slot(i + 1)];
    --m_nSize;
}

void CSendWindow::Recycle(CSendPacket* packet) {
    if (m_nSpare < kMaxSpare)
        m_pSlots->spare[m_nSpare++] = packet;
    else
        delete packet;
}

void CSendWindow::Clear() {
    if (!m_pSlots) return;
    for (CSendPacket* packet : m_pSlots->ring) delete packet;
    while (m_nSpare > 0) delete m_pSlots->spare[--m_nSpare];
    m_pSlots.reset();
    m_nSize = 0;
}
