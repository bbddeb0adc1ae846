#include "file/file_sender_udp.h"

#include "file/local_mcu_file.h"
#include "link/callback.h"
#include "link/limits.h"
#include "platform/lumobase/app_log.h"
#include "platform/lumonet/lumonet.h"

namespace {
constexpr CUdpSourceProfile kProfile{wire::Kind::File, wire::UDP_FILE_SOURCE_CONNECT, wire::UDP_FILE_SOURCE_FRAME,
                                     wire::UDP_FILE_SOURCE_DISCONNECT, 2000};
}

CFileSenderUDP::CFileSenderUDP(IFileSenderNotify& notify, CFileChannel& channel)
    : CFileSender(notify, channel), m_source(kProfile, CFileSink::GetFileSinkID()) {}

bool CFileSenderUDP::Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port) {
    if (!m_source.SetMcu({{ip0, ip1, ip2}, port}) || !m_bSessionOpen) return false;
    m_source.SendConnect(GetFileChannelID());
    return true;
}

bool CFileSenderUDP::IsDisconnected() { return m_source.IsSilent(GetFileChannelID()) || IsOverLimit(); }

void CFileSenderUDP::SendFileData(const void* data, int length) {
    if (data && length >= limits::kMinFrameLen) QueueFrame(data, length);
}

void CFileSenderUDP::OnReceivedConnectACK(uint32_t sourceID, uint32_t ip, uint16_t port) {
    LUMO_LOG_LINE("CFileSenderUDP::OnReceivedConnectACK(ulFileSourceID : %u, IP : %s, Port : %d)", sourceID,
                  GetIpAddr(ip).c_str(), port);
    if (m_source.OnConnectAck(sourceID, ip, port) == ConnectAck::First) NotifyConnected(ip);
}

void CFileSenderUDP::OnReceivedKeepAlive() {
    m_source.Touch();
    m_source.Answer(wire::UDP_FILE_SOURCE_KEEP_ALIVE_ACK);
}

void CFileSenderUDP::OnReceivedFrameAck(const char* data, int length) {
    m_source.Touch();
    OnPacket(data, length);
}

void CFileSenderUDP::ReleaseConnections() {
    AssertNotInCallback();
    if (CLocalMCUFile* mcu = GetLocalMCUFile()) mcu->RemoveFileSenderUDP(GetSenderKey());
    CFileSender::ReleaseConnections();
    LUMO_LOG_LINE(" CFileSenderUDP::SendFileSourceClose");
    m_source.SendGoodbye();
    CloseLink();
    delete this;
}

void CFileSenderUDP::DescribeLink(LumoLinkStatistics& statistics) const {
    statistics.ulLinkID = m_source.SourceID();
    statistics.ulRemoteIP = m_source.Remote().IP();
    statistics.usRemotePort = m_source.Remote().Port();
    statistics.byKind = static_cast<unsigned char>(wire::Kind::File);
}
