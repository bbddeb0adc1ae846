#include "core/sctp_session_sender.h"

#include "core/sequence.h"
#include "platform/lumobase/clock.h"

#include <algorithm>

namespace {

uint32_t Now() { return static_cast<uint32_t>(Lumo_Base::GetTimestamp()); }

}  // namespace

// A thread that holds its reading of the clock may come after one that has read it later: its packets are not due yet.
uint32_t CSCTPSessionSender::PassTime() const {
    const uint32_t now = Now();
    return m_window.Size() > 0 && ElapsedMs(now, m_ulLastWalk) == 0 ? m_ulLastWalk : now;
}

void CSCTPSessionSender::OnAck(bool flag, unsigned short sequence, unsigned char windowSize) {
    SetWindow(windowSize);
    CAutoLock lock(&m_csWindow);
    Acknowledge(flag, sequence, PassTime());
}

bool CSCTPSessionSender::SendWindow(unsigned long) {
    CAutoLock lock(&m_csWindow);
    return RunPass(PassTime());
}

bool CSCTPSessionSender::OnAckAndSendWindow(bool flag, unsigned short sequence, unsigned char windowSize) {
    SetWindow(windowSize);
    CAutoLock lock(&m_csWindow);
    const uint32_t now = PassTime();
    Acknowledge(flag, sequence, now);
    const bool sent = RunPass(now);
    m_bMoreDue.store(m_ulQuiet == 0, std::memory_order_relaxed);
    return sent;
}

void CSCTPSessionSender::ResetSender() {
    CAutoLock lock(&m_csWindow);
    m_nNext = 0;
}

void CSCTPSessionSender::ClearSender() {
    CAutoLock lock(&m_csWindow);
    m_window.Clear();
    m_nInFlight.store(0, std::memory_order_release);
}

void CSCTPSessionSender::SetWindow(unsigned char advertised) {
    m_ulWindowSize.store(std::clamp<uint32_t>(advertised, session::kMinWindow, session::kMaxWindow),
                         std::memory_order_relaxed);
}

void CSCTPSessionSender::Acknowledge(bool flag, uint16_t sequence, uint32_t now) {
    for (uint32_t i = 0; i < m_window.Size();) {
        CSendPacket* packet = m_window.At(i);
        const bool exact = packet->GetSequence() == sequence;
        const bool covered = session::AtOrBefore(packet->GetSequence(), sequence);
        const bool sentOnce = packet->m_ulResendTimeout == 2 * session::kFirstResendTimeout;
        if (exact && sentOnce && !packet->GetFlag()) MeasureRoundTrip(now - packet->m_ulLastSendTime);
        if (exact && !flag) packet->SetFlag(true);
        if (covered && flag)
            Remove(i);
        else
            ++i;
        if (exact) return;
    }
}

bool CSCTPSessionSender::RunPass(uint32_t now) {
    while (m_window.Size() > 0 && m_window.At(0)->GetFlag()) Remove(0);
    const bool admitted = Admit();
    const uint32_t sinceWalk = now - m_ulLastWalk;
    if (sinceWalk >= m_ulQuiet) return SendDue(0, session::kMaxResendTimeout, now);
    return admitted && SendDue(m_window.Size() - 1, m_ulQuiet - sinceWalk, now);
}

bool CSCTPSessionSender::Admit() {
    if (!HasRoom()) return false;
    CSCTPPacket* packet = GetNextSendPacket();
    if (!packet) return false;
    packet->SetSequence(static_cast<uint16_t>(m_nNext++));
    m_window.Append();
    return true;
}

// Walks from `first`; what stands before it is not due for `quiet` ms.
bool CSCTPSessionSender::SendDue(uint32_t first, uint32_t quiet, uint32_t now) {
    int sent = 0;
    for (uint32_t i = first; i < m_window.Size() && sent < session::kMaxSendsPerPass; ++i) {
        CSendPacket* packet = m_window.At(i);
        if (packet->GetFlag()) continue;
        const bool again = packet->m_ulResendTimeout != session::kFirstResendTimeout;
        const bool due = packet->ShouldBeResentAt(now);
        quiet = std::min(quiet, packet->m_ulResendTimeout - (now - packet->m_ulLastSendTime));
        if (!due) continue;
        ++sent;
        CountSent(packet->GetPacketDataLen() - session::kHeaderLen, again);
        SendPacket(packet);
    }
    m_ulLastWalk = now;
    m_ulQuiet = sent < session::kMaxSendsPerPass ? quiet : 0;  // others may be due as well
    return sent > 0;
}

void CSCTPSessionSender::CountSent(int payloadLength, bool again) {
    const auto bytes = static_cast<uint64_t>(payloadLength);
    m_nPacketsSent.Add();
    m_nBytesSent.Add(bytes);
    if (!again) return m_nBytesFirstSent.Add(bytes);
    m_nRetransmitted.Add();
    session::CountRetransmitted();
}

void CSCTPSessionSender::Remove(uint32_t index) {
    m_window.Remove(index);
    m_nInFlight.store(m_window.Size(), std::memory_order_release);
}

CSCTPPacket* CSCTPSessionSender::PreparePacket(int payloadLength) {
    CSCTPPacket* packet = m_window.Prepare(payloadLength);
    if (packet) m_nInFlight.store(m_window.Size() + 1, std::memory_order_release);
    return packet;
}

void CSCTPSessionSender::MeasureRoundTrip(uint32_t sample) {
    const uint32_t scaled = m_ulRoundTripScaled.load(std::memory_order_relaxed);
    const uint32_t bounded = std::min(sample, UINT32_MAX / 8);
    const uint32_t next = scaled == 0 ? 8 * bounded : scaled - scaled / 8 + bounded;
    m_ulRoundTripScaled.store(next, std::memory_order_relaxed);
}

void CSCTPSessionSender::FillSenderStatistics(SessionStatistics& statistics) const {
    statistics.packetsSent += m_nPacketsSent.Get();
    statistics.bytesSent = m_nBytesSent.Get();
    statistics.retransmitted = m_nRetransmitted.Get();
    statistics.roundTripMs = m_ulRoundTripScaled.load(std::memory_order_relaxed) / 8;
}
