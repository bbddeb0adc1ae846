#include "file/file_receiver_datagrams.h"

#include "file/local_mcu_file.h"
#include "link/callback.h"
#include "link/limits.h"
#include "platform/lumobase/app_log.h"

const CSinkLinkProfile CFileReceiverDatagrams::kProfile{.kind = wire::Kind::File,
                                                        .connectCode = wire::UDP_FILE_SINK_CONNECT,
                                                        .connectNamesUser = false,
                                                        .keepAliveCode = wire::UDP_FILE_SINK_KEEP_ALIVE,
                                                        .stopCode = wire::UDP_FILE_SINK_KEEP_ALIVE,
                                                        .keepAliveRepeats = 1,
                                                        .frameAckCode = wire::UDP_FILE_SINK_FRAME_ACK,
                                                        .disconnectCode = wire::UDP_FILE_SINK_DISCONNECT,
                                                        .keepAliveEvery = 12,
                                                        .peerOnlyTimeoutMs = 4000,
                                                        .connectTimeoutMs = 30000,
                                                        .p2pTimeoutMs = 2000,
                                                        .goodbyes = 3};

void CFileReceiverDatagrams::OnReceivedConnectACK(uint32_t sinkID, uint32_t ip, uint16_t port) {
    const ConnectAck ack = m_sinkLink.OnConnectAck(sinkID, ip, port);
    if (ack == ConnectAck::Foreign) return;
    if (ack == ConnectAck::First) LogConnectAck(sinkID, ip, port);
    IsDisconnected();  // sends the keep-alive that proves this address
    if (ack == ConnectAck::First) NotifyConnected(ip);
}

void CFileReceiverDatagrams::OnReceivedKeepAliveACK(uint32_t sinkID, uint32_t ip, uint16_t port) {
    m_sinkLink.Accepts(sinkID, ip, port);
}

void CFileReceiverDatagrams::OnReceivedFrame(uint32_t sinkID, const char* packet, int length, uint32_t ip,
                                             uint16_t port) {
    if (m_sinkLink.Accepts(sinkID, ip, port)) OnPacket(packet, length);
}

void CFileReceiverDatagrams::OnFileChannelData(const void* data, int length) {
    LUMO_LOG_LINE("%s::OnFileChannelData(nLen : %d)", m_pszName, length);
    if (data && length >= limits::kMinFrameLen) QueueFrame(data, length);
}

void CFileReceiverDatagrams::ReleaseConnections() {
    AssertNotInCallback();
    SendDisconnect();
    if (CLocalMCUFile* mcu = GetLocalMCUFile()) mcu->RemoveFileReceiver(GetFileReceiverID());
    CFileReceiver::ReleaseConnections();
    CloseLink();
    delete this;
}

void CFileReceiverDatagrams::DescribeLink(LumoLinkStatistics& statistics) const {
    statistics.ulLinkID = m_sinkLink.SinkID();
    statistics.ulRemoteIP = m_sinkLink.Remote().IP();
    statistics.usRemotePort = m_sinkLink.Remote().Port();
    statistics.byKind = static_cast<unsigned char>(wire::Kind::File);
}
