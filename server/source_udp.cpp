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

// A stranger gets one answer and the question that makes it prove itself; the repetition of the answer waits until it
// has, since either may be lost and what the budget leaves is for asking again.
void CSourceUDP::OnConnect(int length) {
    m_nOwed = m_profile.acknowledgements;
    if (IsProved()) {
        Acknowledge();
        Touch();
        return;
    }
    m_budget.Received(length);
    if (m_budget.Spend(ConnectAck().Length())) {
        SendDatagram(ConnectAck(), m_remote);
        --m_nOwed;
    }
    Ask();
}

void CSourceUDP::Acknowledge() {
    for (; m_nOwed > 0; --m_nOwed) SendDatagram(ConnectAck(), m_remote);
}

void CSourceUDP::Ask() {
    if (m_budget.Spend(KeepAlive().Length())) SendKeepAlive();
}

CDatagram CSourceUDP::ConnectAck() const {
    return CDatagram(m_profile.kind, m_profile.connectAck).U32(m_ulSenderKey).U32(SourceID()).U32(0);
}

CDatagram CSourceUDP::KeepAlive() const { return CDatagram(m_profile.kind, m_profile.keepAlive).U32(m_ulSenderKey); }

void CSourceUDP::Prove() {
    if (m_bProved.exchange(true, std::memory_order_relaxed)) return;
    Acknowledge();
    SetQueueLimit(m_limits.upstreamQueueBytes);
    SetHeld(false);
}

bool CSourceUDP::IsRelayed() const { return m_stream.RelayedFrom() != 0; }

void CSourceUDP::SendKeepAlive() {
    m_ulLastKeepAlive.store(CActivity::Now(), std::memory_order_relaxed);
    SendDatagram(KeepAlive(), m_remote);
}

void CSourceUDP::OnChange() {
    if (IsProved()) SendKeepAlive();
}

void CSourceUDP::OnSecond() {
    const uint32_t since = CActivity::Now() - m_ulLastKeepAlive.load(std::memory_order_relaxed);
    if (since < server::kKeepAliveEveryMs) return;
    if (IsProved())
        SendKeepAlive();
    else
        Ask();
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
