#include "core/wide/wide_sender.h"

#include "lumomedia/packet.h"
#include "platform/lumobase/clock.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace wide {

namespace {

constexpr uint64_t kUnknownProbeDelay = 200000;
constexpr uint64_t kLeastToSkip = 64;              // packets in flight
constexpr uint64_t kLeastBetweenSkips = 4096;      // numbers
constexpr uint64_t kLeastUsBetweenSkips = 100000;  // a fast path would spend its time waiting for them
constexpr uint64_t kRetryUs = 1000;
constexpr uint64_t kMostQuantumUs = 500;
constexpr uint64_t kMostMissedUs = 1000;
constexpr uint64_t kProbeSlack = 5000;  // what the far side may wait before it acknowledges

}  // namespace

void CWideSender::Open(uint64_t now, uint32_t token, uint64_t first, uint32_t carried, int payloadLength) {
    m_ulToken = token;
    m_nPayloadLength = payloadLength;
    m_nFirstWide = first + carried;
    m_flight.Open(first);
    m_model.Open(now, uint64_t{carried} * (session::kHeaderLen + session::kPayloadLen + kDatagramOverhead));
    m_nCredit = static_cast<int64_t>(m_model.Burst());
    m_nMissed = 0;
    m_bPaced = false;
    m_nCreditAt = m_nSentAt = now;
    m_nProbes = 0;
    m_nProbedAt = 0;
    m_nDueAt = now;
    m_nSkippedAt = 0;
    PlanSkip(0, m_nFirstWide);
}

bool CWideSender::Carry(uint64_t sentAt, const Piece& piece, bool arrived) {
    const uint64_t number = m_flight.Next();
    if (!m_flight.Append(piece)) return false;
    m_flight.Carry(sentAt, number);
    if (arrived) m_flight.OnGivenAck(sentAt, false, number);
    return true;
}

void CWideSender::Close() {
    m_flight.Close();
    m_frames.clear();
    m_pCutting.reset();
    m_nDueAt = m_nIdleLookAt = 0;
}

bool CWideSender::Send(uint64_t now) {
    Refill(now);
    SendSkipped(now);
    const uint64_t lossAt = m_flight.FindLate(now);
    bool sent = false;
    while (m_nCredit > 0 && SendNext(now)) sent = true;
    if (Probe(now)) sent = true;
    PlanNext(now, lossAt);
    return sent;
}

// What is lost goes before what is new.
bool CWideSender::SendNext(uint64_t now) {
    if (m_flight.InFlight() >= m_model.Window()) return false;
    uint64_t lost = 0;
    if (m_flight.FindLost(lost)) {
        Transmit(now, lost);
        return true;
    }
    if (SendNew(now)) return true;
    if (!m_pCutting || !HasFarRoom()) m_model.OnStarved(m_flight.InFlight());
    return false;
}

bool CWideSender::SendNew(uint64_t now) { return HasFarRoom() && SendBeyondRoom(now); }

bool CWideSender::SendBeyondRoom(uint64_t now) {
    Piece piece;
    if (!NextPiece(piece)) return false;
    const uint64_t number = m_flight.Next();
    if (piece.end && !AddFrame()) return false;  // first: once packets point into the frame nothing may fail
    if (!m_flight.Append(piece)) {
        if (piece.end) m_frames.pop_back();
        return false;
    }
    m_nCut += piece.length;
    if (piece.end) {
        const int length = m_pCutting->GetLen();
        m_frames.back() = {std::move(m_pCutting), m_flight.Next()};
        m_sending.OnFrameCut(length);
    }
    if (!IsSkipped(now, number)) Transmit(now, number);
    return true;
}

bool CWideSender::AddFrame() {
    try {
        m_frames.emplace_back();
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// Now and then a number is left out for a moment. Whoever acknowledges it acknowledges what it has not got, to be sent
// more than its path carries.
bool CWideSender::IsSkipped(uint64_t now, uint64_t number) {
    if (number < m_nSkipNext || now < m_nSkipNotBefore || m_nSkippedAt != 0) return false;
    PlanSkip(now + kLeastUsBetweenSkips, number);
    if (m_flight.InFlight() < kLeastToSkip * session::kPayloadLen) return false;  // a lone frame is not kept waiting
    m_nSkipped = number;
    m_nSkippedAt = now;
    return true;
}

void CWideSender::SendSkipped(uint64_t now) {
    if (m_nSkippedAt == 0 || now < SkipEnds()) return;
    m_nSkippedAt = 0;
    if (m_nSkipped >= m_flight.First() && !m_flight.WasSent(m_nSkipped)) Transmit(now, m_nSkipped);
}

// By chance in numbers and in time: on a fast path only the time counts.
void CWideSender::PlanSkip(uint64_t notBefore, uint64_t after) {
    const uint64_t more = Lumo_Base::GenerateSSRC() % kLeastBetweenSkips;
    m_nSkipNext = after + kLeastBetweenSkips + more;
    m_nSkipNotBefore = notBefore + more * kLeastUsBetweenSkips / kLeastBetweenSkips;
}

bool CWideSender::NextPiece(Piece& piece) {
    if (!m_pCutting) {
        m_pCutting = m_sending.TakeFrame();
        m_nCut = 0;
    }
    if (!m_pCutting) return false;
    const int left = m_pCutting->GetLen() - m_nCut;
    piece.length = std::min(left, m_nPayloadLength);
    piece.payload = m_pCutting->GetData() + m_nCut;
    piece.begin = m_nCut == 0;
    piece.end = piece.length == left;
    return true;
}

void CWideSender::Transmit(uint64_t now, uint64_t number) {
    const Piece& piece = m_flight.At(number);
    const auto length = static_cast<size_t>(session::kHeaderLen + piece.length);
    m_packet.resize(std::max(m_packet.size(), session::kEnvelopeRoom + length));
    char* packet = m_packet.data() + session::kEnvelopeRoom;
    std::memset(packet, 0, session::kHeaderLen);
    CSCTPPacket header(packet, static_cast<int>(length));
    header.SetBegin(piece.begin);
    header.SetEnd(piece.end);
    if (piece.length > 0) std::memcpy(packet + session::kHeaderLen, piece.payload, static_cast<size_t>(piece.length));
    const bool again = m_flight.WasSent(number);
    const uint32_t transmission = m_flight.OnSent(now, number);
    WriteHead(packet, m_ulToken, {static_cast<uint32_t>(number), transmission});
    m_nCredit -= static_cast<int64_t>(length) + kDatagramOverhead;
    m_nSentAt = now;
    m_sending.SendWide(packet, static_cast<int>(length), again);
}

// An unanswered tail, a path that has gone silent, or a far side that had no room: one packet, whatever the window
// says. What is new tells more.
bool CWideSender::Probe(uint64_t now) {
    if (m_flight.ProgressAt() != m_nSeenProgress) {
        m_nSeenProgress = m_flight.ProgressAt();
        m_nProbes = 0;
    }
    if (m_flight.IsEmpty()) return ProbeRoom(now);
    if (now < ProbeAt()) return false;
    const bool newest = m_nProbes++ % 2 == 0 && m_flight.OldestSentAt() == m_nSentAt;
    m_nProbedAt = now;
    if (newest && SendNew(now)) return true;
    Transmit(now, newest ? m_flight.LastMissing() : m_flight.First());
    return true;
}

// Of the oldest in flight: what has been sent after it does not answer for it.
uint64_t CWideSender::ProbeAt() {
    const uint64_t oldest = m_flight.OldestSentAt();
    return std::max(oldest == 0 ? m_nSentAt : oldest, m_nProbedAt) + ProbeDelay();
}

bool CWideSender::ProbeRoom(uint64_t now) {
    Piece piece;
    if (HasFarRoom() || !NextPiece(piece)) return false;
    return now >= m_nSentAt + kMostProbeDelayUs && SendBeyondRoom(now);
}

uint64_t CWideSender::ProbeDelay() const {
    const uint64_t roundTrip = m_model.SmoothedRoundTrip();
    const uint64_t delay = roundTrip == 0 ? kUnknownProbeDelay : roundTrip + roundTrip / 4 + kProbeSlack;
    return std::min(delay << std::min(m_nProbes, 10U), kMostProbeDelayUs);
}

// What the pace allows comes in lumps: packets that leave together cost one system call, and wake the worker once.
uint64_t CWideSender::Quantum() const { return std::min(kMostQuantumUs, m_model.SmallestRoundTrip() / 4); }

// The bucket holds a burst, so that what is shorter leaves at once. What a thread that came late has missed follows, at
// no more than twice the pace.
void CWideSender::Refill(uint64_t now) {
    if (now <= m_nCreditAt) return;  // another thread read the clock a little later
    const bool used = m_nCredit <= 0;
    if (used && now < m_nCreditAt + Quantum()) return;
    const auto earned = static_cast<int64_t>(Paced(std::min(now - m_nCreditAt, kUsPerSecond)));
    if (earned == 0 && used) return;  // let the time add up
    const int64_t followed = std::min(m_nMissed, earned);
    const int64_t credit = m_nCredit + earned + followed;
    m_nCredit = std::min(credit, static_cast<int64_t>(m_model.Burst()));
    const int64_t missed = m_nMissed - followed + credit - m_nCredit;
    m_nMissed = m_bPaced ? std::min(missed, static_cast<int64_t>(Paced(kMostMissedUs))) : 0;
    m_nCreditAt = now;
}

void CWideSender::OnAck(uint64_t now, const Ack& ack) {
    if (m_flight.OnAck(now, ack)) FreeDelivered();
    if (m_nIdleLookAt == 0 && m_flight.HasMuchMemory()) m_nIdleLookAt = now + kUsPerSecond;
}

void CWideSender::LookWhetherIdle(uint64_t now) {
    if (m_nIdleLookAt == 0 || now < m_nIdleLookAt) return;
    m_flight.GiveBackMemory();
    m_nIdleLookAt = m_flight.HasMuchMemory() ? now + kUsPerSecond : 0;
}

void CWideSender::OnGivenAck(uint64_t now, bool flag, uint16_t sequence) {
    if (!HasCarried()) return;
    const auto ahead = static_cast<uint16_t>(sequence - static_cast<uint16_t>(m_flight.First()));
    const uint64_t number = m_flight.First() + ahead;
    if (number < m_nFirstWide) m_flight.OnGivenAck(now, flag, number);
    FreeDelivered();
}

void CWideSender::FreeDelivered() {
    while (!m_frames.empty() && m_frames.front().end <= m_flight.First()) {
        m_sending.OnFrameDelivered(m_frames.front().data->GetLen());
        m_frames.pop_front();
    }
}

void CWideSender::CarryFrame(std::unique_ptr<CDataBuffer> frame, int cut) {
    m_pCutting = std::move(frame);
    m_nCut = cut;
}

// What is in flight of it still points into it.
void CWideSender::DropUncut() {
    if (!m_pCutting || !AddFrame()) return;
    const int length = m_pCutting->GetLen();
    m_frames.back() = {std::move(m_pCutting), m_flight.Next()};
    m_sending.OnFrameCut(length);
    FreeDelivered();
}

void CWideSender::PlanNext(uint64_t now, uint64_t lossAt) {
    m_nDueAt = lossAt;
    const auto before = [this](uint64_t at) { m_nDueAt = m_nDueAt == 0 ? at : std::min(m_nDueAt, at); };
    if (!m_flight.IsEmpty()) before(ProbeAt());
    if (m_flight.IsEmpty() && !HasFarRoom() && m_pCutting) before(m_nSentAt + kMostProbeDelayUs);
    if (m_nSkippedAt != 0) before(SkipEnds());
    uint64_t lost = 0;
    const bool window = m_flight.InFlight() < m_model.Window();
    m_bPaced = m_nCredit <= 0 && window && (HasFarRoom() || m_flight.FindLost(lost));
    if (m_bPaced) {
        const uint64_t rate = std::max<uint64_t>(m_model.PacingRate(), 1);
        const uint64_t earned = now + (static_cast<uint64_t>(-m_nCredit) + 1) * kUsPerSecond / rate + 1;
        before(std::max(earned, m_nCreditAt + Quantum()));
    }
    if (m_nCredit > 0 && window && HasFarRoom() && m_pCutting) before(now + kRetryUs);  // there was no memory
    if (m_nDueAt != 0) m_nDueAt = std::max(m_nDueAt, now + 1);
}

}  // namespace wide
