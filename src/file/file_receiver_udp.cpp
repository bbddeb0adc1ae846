#include "file/file_receiver_udp.h"

#include "platform/lumobase/app_log.h"
#include "platform/lumonet/lumonet.h"

bool CFileReceiverUDP::Connect(const CMcuAddress& peer, const CMcuAddress& local, bool peerMCUOnly) {
    if (!CShareReceiverUDP::Connect(peer, local, peerMCUOnly)) return false;
    m_link.Touch();
    return true;
}

void CFileReceiverUDP::OnAcknowledged(uint32_t sinkID, uint32_t ip, uint16_t port) {
    LUMO_LOG_LINE("CFileReceiverUDP::OnReceivedConnectACK. ulFileSinkID : %u, Ip : %s, Port : %d", sinkID,
                  GetIpAddr(ip).c_str(), port);
}

void CFileReceiverUDP::OnChannelData(const void* data, int length) {
    LUMO_LOG_LINE("CFileReceiverUDP::OnFileChannelData(nLen : %d)", length);
    CShareReceiverUDP::OnChannelData(data, length);
}
