#include "file/file_sink_udp.h"

#include "link/limits.h"
#include "platform/lumobase/app_log.h"

namespace {
constexpr int kAcknowledgements = 2;  // repeated against loss
}

CFileSinkUDP::CFileSinkUDP(CFileChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID)
    : CFileSink(channel), m_udp(wire::Kind::File, ip, port, receiverID, CFileSink::GetFileSinkID()) {}

void CFileSinkUDP::ReleaseConnections() {
    CFileSink::ReleaseConnections();
    CloseLink();
}

bool CFileSinkUDP::IsDisconnected() { return m_udp.IsSilent() || IsOverLimit(); }

void CFileSinkUDP::OnFileChannelData(const void* data, int length) {
    LUMO_LOG_LINE("CFileSinkUDP::OnFileChannelData");
    if (data && length >= limits::kMinFrameLen) QueueFrame(data, length);
}

void CFileSinkUDP::OnReceivedConnect() {
    LUMO_LOG_LINE("CFileSinkUDP::OnReceivedConnect(void). connect udp");
    m_udp.Acknowledge(wire::UDP_FILE_SINK_CONNECT_ACK, kAcknowledgements);
}

void CFileSinkUDP::OnReceivedKeepAlive() { m_udp.Acknowledge(wire::UDP_FILE_SINK_KEEP_ALIVE_ACK, kAcknowledgements); }

void CFileSinkUDP::OnReceivedFrameAck(const char* data, int length) {
    if (!data || length < 2) return;
    m_udp.Touch();
    OnPacket(data, length);
}

void CFileSinkUDP::OnSCTPSessionReceivedFrame(char* data, int length) {
    LUMO_LOG_LINE("CFileSinkUDP::OnTcpSessionNotifyReceivedFrame. nLen : %d", length);
    DeliverUpstream(data, length);
}

void CFileSinkUDP::SendSCTPData(char* packet, int length) {
    SendInEnvelope(m_udp.Head(wire::UDP_FILE_SINK_FRAME), packet, length, m_udp.Remote());
}

CSinkInfo CFileSinkUDP::Info() {
    CSinkInfo info = CFileSink::Info();
    info.ip = GetRemoteIP();
    info.port = GetRemotePort();
    return info;
}

void CFileSinkUDP::DescribeLink(LumoLinkStatistics& statistics) const {
    statistics.ulLinkID = m_udp.SinkID();
    statistics.ulRemoteIP = GetRemoteIP();
    statistics.usRemotePort = GetRemotePort();
    statistics.byKind = static_cast<unsigned char>(wire::Kind::File);
}
