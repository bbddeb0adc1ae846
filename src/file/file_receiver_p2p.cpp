#include "file/file_receiver_p2p.h"

#include "platform/lumobase/app_log.h"
#include "platform/lumonet/lumonet.h"

CFileReceiverP2P::CFileReceiverP2P(IFileReceiverNotify& notify, CFileChannel& channel)
    : CFileReceiverDatagrams(notify, channel, m_subscription, "CFileReceiverP2P"),
      m_subscription(kProfile, CFileReceiver::GetFileReceiverID()) {}

bool CFileReceiverP2P::Connect(uint32_t userID) {
    LUMO_LOG_LINE("CFileReceiverP2P::Connect(UserID : %u)", userID);
    m_subscription.SetUser(userID);
    if (!IsSessionOpen()) return false;
    m_subscription.Start();
    return true;
}

void CFileReceiverP2P::LogConnectAck(uint32_t sinkID, uint32_t ip, uint16_t port) {
    LUMO_LOG_LINE("CFileReceiverP2P::OnReceivedConnectACK.FileSinkID : %u, IP : %s, Port : %d ", sinkID,
                  GetIpAddr(ip).c_str(), port);
}
