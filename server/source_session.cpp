#include "server/source_session.h"

#include "link/mcu_services.h"
#include "server/link_status.h"
#include "server/server_constants.h"
#include "server/stream.h"

using wire::CDatagram;

CSourceSession::CSourceSession(const CMediumRow& row, CStream& stream, std::unique_ptr<CClaim> claim,
                               const CServerLimits& limits)
    : CSourceUDP(row, stream, std::move(claim)), m_limits(limits) {
    SetWindowSize(server::kSourceWindow);
    SetQueueLimit(m_limits.upstreamQueueBytes);
}

bool CSourceSession::SendUpstream(const void* data, int length) {
    if (QueueCost() + static_cast<uint64_t>(length) > m_limits.upstreamQueueBytes) return false;
    return QueueFrame(data, length);
}

// One that waits already says it all.
void CSourceSession::RequestKeyFrame() {
    OnChange();  // whoever wants it may be the first, and this be sooner than the news of it
    const char request = 0;
    if (GetCount() == 0) QueueFrame(&request, 1);
}

void CSourceSession::OnSCTPSessionReceivedFrame(char* frame, int length) { m_stream.OnSourceFrame(frame, length); }

void CSourceSession::SendSCTPData(char* packet, int length) {
    SendInEnvelope(CDatagram(m_row.kind, m_row.source.frameAck).U32(m_ulSenderKey), packet, length, m_remote);
}

void CSourceSession::DescribeLink(LumoLinkStatistics& statistics) const {
    statistics.ulLinkID = SourceID();
    statistics.ulRemoteIP = m_peer.ip;
    statistics.usRemotePort = m_peer.port;
    statistics.byKind = static_cast<unsigned char>(m_row.kind);
}

CSourceStatus CSourceSession::Status() {
    LumoLinkStatistics statistics;
    FillStatistics(statistics);
    return {m_peer, false, SumsOf(statistics), statistics.ulQueuedFrames, statistics.ullQueuedBytes};
}
