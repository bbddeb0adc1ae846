#include "server/sources/source_session.h"

#include "link/process/mcu_services.h"
#include "server/channels/server_channel.h"
#include "server/server_constants.h"
#include "server/status.h"

using wire::CWireWriter;

CSourceSession::CSourceSession(const CMediumRow& row, CServerChannel& channel, std::unique_ptr<CClaim> claim,
                               const CServerLimits& limits)
    : CSourceUDP(row, channel, std::move(claim)) {
    m_frames.Session().SetWindowSize(server::kSourceWindow);
    m_frames.SetQueueLimit(limits.upstreamQueueBytes);
}

bool CSourceSession::SendUpstream(const void* data, int length) {
    return m_frames.HasRoom(length) && m_frames.QueueFrame(data, length);
}

// A request that still waits in the queue is enough.
void CSourceSession::RequestKeyFrame() {
    OnChange();  // the subscriber may be the first, and START must go before the request
    const char request = 0;
    if (m_frames.QueuedFrames() == 0) m_frames.QueueFrame(&request, 1);
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
    m_frames.FillStatistics(statistics);
    return {m_address,         false, SumsOf(statistics), statistics.ulQueuedFrames, statistics.ullQueuedBytes,
            FlowOf(statistics)};
}
