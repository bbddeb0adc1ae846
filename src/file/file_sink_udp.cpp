#include "file/file_sink_udp.h"

#include "link/limits.h"
#include "link/mcu_services.h"
#include "platform/lumobase/app_log.h"

using wire::CDatagram;
using wire::Kind;

namespace {
constexpr int kAcknowledgements = 2;  // repeated against loss
}

CFileSinkUDP::CFileSinkUDP(CFileChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID)
    : CFileSink(channel),
      m_activity(CActivity::Now()),
      m_ulFileReceiverID(receiverID),
      m_ulFileSinkID(CFileSink::GetFileSinkID()) {
    m_remote.Set(ip, port);
}

void CFileSinkUDP::ReleaseConnections() {
    CFileSink::ReleaseConnections();
    CloseLink();
}

bool CFileSinkUDP::IsDisconnected() { return m_activity.SilentFor(kTimeoutMs) || IsOverLimit(); }

void CFileSinkUDP::OnFileChannelData(const void* data, int length) {
    LUMO_LOG_LINE("CFileSinkUDP::OnFileChannelData");
    if (data && length >= limits::kMinFrameLen) QueueFrame(data, length);
}

void CFileSinkUDP::OnReceivedConnect() {
    LUMO_LOG_LINE("CFileSinkUDP::OnReceivedConnect(void). connect udp");
    Acknowledge(wire::UDP_FILE_SINK_CONNECT_ACK);
}

void CFileSinkUDP::OnReceivedKeepAlive() { Acknowledge(wire::UDP_FILE_SINK_KEEP_ALIVE_ACK); }

void CFileSinkUDP::Acknowledge(uint8_t code) {
    m_activity.Touch();
    const CDatagram datagram = CDatagram(Kind::File, code).U32(m_ulFileReceiverID).U32(m_ulFileSinkID);
    for (int i = 0; i < kAcknowledgements; ++i) SendDatagram(datagram, m_remote);
}

void CFileSinkUDP::OnReceivedFrameAck(const char* data, int length) {
    if (!data || length < 2) return;
    m_activity.Touch();
    OnPacket(data, length);
}

void CFileSinkUDP::OnSCTPSessionReceivedFrame(char* data, int length) {
    LUMO_LOG_LINE("CFileSinkUDP::OnTcpSessionNotifyReceivedFrame. nLen : %d", length);
    DeliverUpstream(data, length);
}

void CFileSinkUDP::SendSCTPData(char* packet, int length) {
    SendInEnvelope(CDatagram(Kind::File, wire::UDP_FILE_SINK_FRAME).U32(m_ulFileReceiverID).U32(m_ulFileSinkID), packet,
                   length, m_remote);
}

void CFileSinkUDP::DescribeLink(LumoLinkStatistics& statistics) const {
    statistics.ulLinkID = m_ulFileSinkID;
    statistics.ulRemoteIP = m_remote.IP();
    statistics.usRemotePort = m_remote.Port();
    statistics.byKind = static_cast<unsigned char>(Kind::File);
}
