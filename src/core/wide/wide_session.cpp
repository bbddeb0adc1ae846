#include "core/wide/wide_session.h"

namespace wide {

namespace {

std::atomic<bool> g_wanted{false};

}  // namespace

void SetWanted(bool wanted) { g_wanted.store(wanted, std::memory_order_relaxed); }
bool IsWanted() { return g_wanted.load(std::memory_order_relaxed); }

void CWideSession::Open(uint32_t stranger) {
    Close();
    m_agreement.Open();
    m_ulStranger = stranger;
    m_ulAligned = 0;
    m_nGivenLimit = UINT64_MAX;
}

void CWideSession::Close() {
    m_bSending.store(false, std::memory_order_release);
    m_agreement.Close();
    m_sender.Close();
    Show();
    m_receiver.Close();
    m_acks.Open(0);
}

void CWideSession::Show() {
    m_shown.bandwidth.store(m_sender.Model().Bandwidth(), std::memory_order_relaxed);
    m_shown.smallestRoundTripUs.store(m_sender.Model().SmallestRoundTrip(), std::memory_order_relaxed);
    m_shown.roundTripUs.store(m_sender.Model().SmoothedRoundTrip(), std::memory_order_relaxed);
    m_shown.inFlight.store(m_sender.Flight().InFlight(), std::memory_order_relaxed);
    m_shown.sendDueAt.store(m_sender.DueAt(), std::memory_order_relaxed);
    m_shown.idleLookAt.store(m_sender.IdleLookAt(), std::memory_order_relaxed);
    m_shown.lost.store(m_sender.Flight().LostPackets(), std::memory_order_relaxed);
    m_shown.recordBytes.store(m_sender.Flight().MemoryBytes(), std::memory_order_relaxed);
}

uint64_t CWideSession::DueAt() const {
    uint64_t due = 0;
    for (const uint64_t at : {m_acks.DueAt(), m_receiver.GapDueAt(), IdleLookAt()})
        if (at != 0 && (due == 0 || at < due)) due = at;
    return due;
}

void CWideSession::FillStatistics(SessionStatistics& statistics) const {
    statistics.duplicates += m_receiver.Duplicates();
    statistics.wide = IsSending();
    if (!statistics.wide) return;
    statistics.bandwidth = m_shown.bandwidth.load(std::memory_order_relaxed);
    statistics.smallestRoundTripUs = m_shown.smallestRoundTripUs.load(std::memory_order_relaxed);
    statistics.inFlight = m_shown.inFlight.load(std::memory_order_relaxed);
    statistics.lost = m_shown.lost.load(std::memory_order_relaxed);
    const uint64_t roundTrip = m_shown.roundTripUs.load(std::memory_order_relaxed);
    if (roundTrip > 0) statistics.roundTripMs = static_cast<uint32_t>((roundTrip + 999) / 1000);
}

bool CWideSession::HearsOffer(CSCTPPacket& packet) {
    // Once the far side has shown its token in use, no other offer is its own.
    if (IsReceiving() && m_ulAligned == m_agreement.FarToken()) return false;
    const bool first = !IsReceiving();
    const bool accepted = m_agreement.OnGivenPacket(packet.GetPacketData(), packet.GetSequence());
    if (accepted) m_nGivenLimit = UINT64_MAX;
    return accepted && first;
}

void CWideSession::Receive(uint64_t now, CSCTPPacket& packet) {
    Head head;
    if (ReadHead(packet.GetPacketData(), m_agreement.FarToken(), head)) {
        Align(head);
        return m_receiver.OnPacket(now, packet, head);
    }
    // A late one must not be taken for a packet that is a whole turn of the sequences younger.
    const auto ahead = static_cast<int16_t>(packet.GetSequence() - static_cast<uint16_t>(m_receiver.Next()));
    if (ahead < 0 || m_receiver.Next() + static_cast<uint64_t>(ahead) < m_nGivenLimit)
        m_receiver.OnGivenPacket(now, packet);
}

// The first packet of the wide form tells the upper half of the number: whoever opened later than the sender has
// counted from a later sequence 0.
void CWideSession::Align(const Head& head) {
    if (m_ulAligned == m_agreement.FarToken()) return;
    m_ulAligned = m_agreement.FarToken();
    const auto next = static_cast<uint32_t>(m_receiver.Next());
    const auto ahead = static_cast<int16_t>(static_cast<uint16_t>(head.number) - static_cast<uint16_t>(next));
    const uint32_t aligned = head.number - static_cast<uint32_t>(static_cast<int32_t>(ahead));
    if (aligned != next) BeginReceiving(aligned);
    m_nGivenLimit = m_receiver.Next() + session::kMaxWindow;
}

int CWideSession::WriteAckPacket(uint64_t now, CSCTPPacket& header) {
    const Ack ack = m_acks.Take(now);
    header.SetSequence(static_cast<uint16_t>(ack.delivered & 0xFFFFU));
    WriteAnswer(header.GetPacketData(), m_agreement.FarToken());
    return WriteAck(header.GetPacketData(), ack);
}

}  // namespace wide
