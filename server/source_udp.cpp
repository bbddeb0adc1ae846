#include "server/source_udp.h"

#include "link/mcu_services.h"
#include "server/link_status.h"
#include "server/server_constants.h"
#include "server/stream.h"

using wire::CDatagram;

CSourceUDP::CSourceUDP(const CSourceProfile& profile, CStream& stream, const CPeer& peer, uint32_t senderKey,
                       const CServerLimits& limits)
    : m_profile(profile),
      m_stream(stream),
      m_ulChannelID(stream.ChannelID()),
      m_peer(peer),
      m_ulSenderKey(senderKey),
      m_limits(limits),
      m_activity(CActivity::Now()),
      m_ulLastKeepAlive(CActivity::Now()) {
    m_remote.Set(peer.ip, peer.port);
    SetWindowSize(server::kSourceWindow);
    SetQueueLimit(server::kHeldQueueBytes);
    SetHeld(true);
}

// First an answer, then the question that makes the far side prove itself, then the answer again against loss: when not
// all of it may be said to a stranger, the repetition waits.
void CSourceUDP::OnConnect(int length) {
    if (!IsProved()) m_budget.Received(length);
    m_nOwed = m_profile.acknowledgements;
    if (Acknowledge()) --m_nOwed;
    if (!m_bAsked && !IsProved()) {
        m_bAsked = m_budget.Spend(CDatagram(m_profile.kind, m_profile.keepAlive).U32(m_ulSenderKey).Length());
        if (m_bAsked) SendKeepAlive();
    }
    while (m_nOwed > 0 && Acknowledge()) --m_nOwed;
    if (IsProved()) Touch();
}

bool CSourceUDP::Acknowledge() {
    const CDatagram ack = CDatagram(m_profile.kind, m_profile.connectAck).U32(m_ulSenderKey).U32(SourceID()).U32(0);
    if (!IsProved() && !m_budget.Spend(ack.Length())) return false;
    SendDatagram(ack, m_remote);
    return true;
}

void CSourceUDP::Prove() {
    if (m_bProved.exchange(true, std::memory_order_relaxed)) return;
    for (; m_nOwed > 0; --m_nOwed) Acknowledge();
    SetQueueLimit(m_limits.upstreamQueueBytes);
    SetHeld(false);
}

void CSourceUDP::SendKeepAlive() {
    m_ulLastKeepAlive.store(CActivity::Now(), std::memory_order_relaxed);
    SendDatagram(CDatagram(m_profile.kind, m_profile.keepAlive).U32(m_ulSenderKey), m_remote);
}

void CSourceUDP::OnChange() {
    if (IsProved()) SendKeepAlive();
}

void CSourceUDP::OnSecond() {
    const uint32_t since = CActivity::Now() - m_ulLastKeepAlive.load(std::memory_order_relaxed);
    if (IsProved() && since >= server::kKeepAliveEveryMs) SendKeepAlive();
}

// A publisher that reads slowly keeps its place: only what its subscribers send it is lost.
bool CSourceUDP::SendUpstream(const void* data, int length) {
    if (GetByteCount() + static_cast<uint64_t>(length) > m_limits.upstreamQueueBytes) return false;
    return QueueFrame(data, length);
}

bool CSourceUDP::GivesWay() { return m_activity.SilentFor(server::kGivesWayAfterMs); }

bool CSourceUDP::IsGone() { return m_activity.SilentFor(server::kSourceGoneAfterMs); }

void CSourceUDP::OnSCTPSessionReceivedFrame(char* frame, int length) { m_stream.OnSourceFrame(frame, length); }

void CSourceUDP::SendSCTPData(char* packet, int length) {
    SendInEnvelope(CDatagram(m_profile.kind, m_profile.frameAck).U32(m_ulSenderKey), packet, length, m_remote);
}

void CSourceUDP::DescribeLink(LumoLinkStatistics& statistics) const {
    statistics.ulLinkID = SourceID();
    statistics.ulRemoteIP = m_peer.ip;
    statistics.usRemotePort = m_peer.port;
    statistics.byKind = static_cast<unsigned char>(m_profile.kind);
}

CSourceStatus CSourceUDP::Status() {
    LumoLinkStatistics statistics;
    FillStatistics(statistics);
    return {m_peer, false, IsProved(), SumsOf(statistics), statistics.ulQueuedFrames, statistics.ullQueuedBytes};
}
