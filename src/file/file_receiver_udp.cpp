#include "file/file_receiver_udp.h"

#include "platform/lumobase/app_log.h"
#include "platform/lumonet/lumonet.h"

CFileReceiverUDP::CFileReceiverUDP(IFileReceiverNotify& notify, CFileChannel& channel)
    : CFileReceiverDatagrams(notify, channel, m_subscription, "CFileReceiverUDP"),
      m_subscription(kProfile, CFileReceiver::GetFileReceiverID()) {}

bool CFileReceiverUDP::Connect(const CMcuAddress& peer, const CMcuAddress& local, bool peerMCUOnly) {
    m_subscription.SetMcus(peer, local, peerMCUOnly);
    if (!IsSessionOpen()) return false;
    SendConnect();
    m_subscription.Touch();
    return true;
}

void CFileReceiverUDP::LogConnectAck(uint32_t sinkID, uint32_t ip, uint16_t port) {
    LUMO_LOG_LINE("CFileReceiverUDP::OnReceivedConnectACK. ulFileSinkID : %u, Ip : %s, Port : %d", sinkID,
                  GetIpAddr(ip).c_str(), port);
}
