#include "server/sources/source_session.h"

#include "link/process/mcu_services.h"
#include "server/channels/server_channel.h"
#include "server/server_constants.h"
#include "server/status.h"

using wire::CWireWriter;

CSourceSession::CSourceSession(const CMediumRow& row, CServerChannel& channel, std::unique_ptr<CClaim> claim,
                               const CServerLimits& limits)
    : CSourceUDP(row, channel, std::move(claim)), m_limits(limits) {
    SetWindowSize(server::kSourceWindow);
    SetQueueLimit(m_limits.upstreamQueueBytes);
}

bool CSourceSession::SendUpstream(const void* data, int length) {
    if (QueueCost() + static_cast<uint64_t>(length) > m_limits.upstreamQueueBytes) return false;
    return QueueFrame(data, length);
}

// A request that still waits in the queue is enough.
void CSourceSession::RequestKeyFrame() {
    OnChange();  // the subscriber may be the first, and START must go before the request
    const char request = 0;
    if (GetCount() == 0) QueueFrame(&request, 1);
}

void CSourceSession::OnSCTPSessionReceivedFrame(char* frame, int length) { m_channel.OnSourceFrame(frame, length); }

void CSourceSession::SendSCTPData(char* packet, int length) {
    SendInEnvelope(CWireWriter(m_row.kind, m_row.source.frameAck).U32(m_ulSenderKey), packet, length, m_remote);
}

void CSourceSession::DescribeLink(LumoLinkStatistics& statistics) const {
    statistics.ulLinkID = SourceID();
    statistics.ulRemoteIP = m_address.ip;
    statistics.usRemotePort = m_address.port;
    statistics.byKind = static_cast<unsigned char>(m_row.kind);
}

CSourceStatus CSourceSession::Status() {
    LumoLinkStatistics statistics;
    FillStatistics(statistics);
    return {m_address, false, SumsOf(statistics), statistics.ulQueuedFrames, statistics.ullQueuedBytes};
}
