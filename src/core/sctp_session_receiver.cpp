#include "core/sctp_session_receiver.h"

#include "core/sequence.h"
#include "platform/lumobase/undo.h"

void CSCTPSessionReceiver::ResetReceiver() {
    m_usLastDelivered = UINT16_MAX;
    m_nDelivered = 0;
    m_bStarted = false;
}

void CSCTPSessionReceiver::OnPacket(CSCTPPacket packet) {
    const uint16_t sequence = packet.GetSequence();
    if (sequence == 0 && !m_bStarted) {
        m_usLastDelivered = UINT16_MAX;
        m_bStarted = true;
    }
    if (RejectRepeated(sequence)) return;
    const bool next = m_bStarted && sequence == Next() && m_held.WouldBeFirst(sequence);
    if (!next && !m_held.Insert(packet)) return;
    // Whatever the owner throws: its frame is gone, and the far side must not send it again.
    const CUndo acknowledge([&] {
        if (m_bStarted) DeliverHeld();
        SendAck(m_bStarted && session::AtOrBefore(sequence, m_usLastDelivered), sequence);
    });
    if (!next) return;
    m_usLastDelivered = sequence;  // its turn: no copy
    ++m_nDelivered;
    OnReceivedPacket(&packet);
}

// Acknowledges a packet that has been seen before.
bool CSCTPSessionReceiver::RejectRepeated(uint16_t sequence) {
    const bool delivered =
        m_bStarted && (sequence == m_usLastDelivered || session::Behind(sequence, m_usLastDelivered));
    if (!delivered && !m_held.Contains(sequence)) return false;
    m_nDuplicates.Add();
    session::CountDuplicate();
    SendAck(delivered, sequence);
    return true;
}

void CSCTPSessionReceiver::DeliverHeld() {
    while (const auto packet = m_held.TakeFirst(Next())) {
        m_usLastDelivered = packet->GetSequence();
        ++m_nDelivered;
        OnReceivedPacket(packet.get());
    }
}
