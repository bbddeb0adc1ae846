#include "file/file_receiver_udp.h"

#include "file/local_mcu_file.h"
#include "link/callback.h"
#include "link/limits.h"
#include "platform/lumobase/app_log.h"
#include "platform/lumonet/lumonet.h"

namespace {
constexpr CUdpSubscriptionProfile kProfile{wire::Kind::File,
                                           wire::UDP_FILE_SINK_CONNECT,
                                           wire::UDP_FILE_SINK_KEEP_ALIVE,
                                           wire::UDP_FILE_SINK_FRAME_ACK,
                                           wire::UDP_FILE_SINK_DISCONNECT,
                                           12,
                                           4000,
                                           30000,
                                           3};
}

CFileReceiverUDP::CFileReceiverUDP(IFileReceiverNotify& notify, CFileChannel& channel)
    : CFileReceiver(notify, channel), m_subscription(kProfile, CFileReceiver::GetFileReceiverID()) {}

bool CFileReceiverUDP::Connect(const CMcuAddress& peer, const CMcuAddress& local, bool peerMCUOnly) {
    m_subscription.SetMcus(peer, local, peerMCUOnly);
    if (!m_bSessionOpen) return false;
    SendConnect();
    m_subscription.Touch();
    return true;
}

bool CFileReceiverUDP::IsDisconnected() { return m_subscription.IsSilent(GetFileChannelID()) || IsOverLimit(); }

void CFileReceiverUDP::OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) {
    const ConnectAck ack = m_subscription.OnConnectAck(sinkID, ip, port);
    if (ack == ConnectAck::Foreign) return;
    if (ack == ConnectAck::First)
        LUMO_LOG_LINE("CFileReceiverUDP::OnReceivedConnectACK. ulFileSinkID : %u, Ip : %s, Port : %d", sinkID,
                      GetIpAddr(ip).c_str(), port);
    IsDisconnected();  // sends the keep-alive that proves this address
    if (ack == ConnectAck::First) NotifyConnected(ip);
}

void CFileReceiverUDP::OnReceivedKeepAliveACK(uint32_t sinkID, uint32_t ip, uint16_t port) {
    m_subscription.Accepts(sinkID, ip, port);
}

void CFileReceiverUDP::OnReceivedFrame(uint32_t sinkID, const char* packet, int length, uint32_t ip, uint16_t port) {
    if (m_subscription.Accepts(sinkID, ip, port)) OnPacket(packet, length);
}

void CFileReceiverUDP::OnFileChannelData(const void* data, int length) {
    LUMO_LOG_LINE("CFileReceiverUDP::OnFileChannelData(nLen : %d)", length);
    if (data && length >= limits::kMinFrameLen) QueueFrame(data, length);
}

void CFileReceiverUDP::ReleaseConnections() {
    AssertNotInCallback();
    SendDisconnect();
    if (CLocalMCUFile* mcu = GetLocalMCUFile()) mcu->RemoveFileReceiver(GetFileReceiverID());
    CFileReceiver::ReleaseConnections();
    CloseLink();
    delete this;
}

void CFileReceiverUDP::DescribeLink(LumoLinkStatistics& statistics) const {
    statistics.ulLinkID = m_subscription.SinkID();
    statistics.ulRemoteIP = m_subscription.Remote().IP();
    statistics.usRemotePort = m_subscription.Remote().Port();
    statistics.byKind = static_cast<unsigned char>(wire::Kind::File);
}
