#include "file/file_receiver_p2p.h"

#include "platform/lumobase/app_log.h"
#include "platform/lumonet/lumonet.h"

bool CFileReceiverP2P::Connect(uint32_t userID) {
    LUMO_LOG_LINE("CFileReceiverP2P::Connect(UserID : %u)", userID);
    return CShareReceiverP2P::Connect(userID);
}

void CFileReceiverP2P::OnAcknowledged(uint32_t sinkID, uint32_t ip, uint16_t port) {
    LUMO_LOG_LINE("CFileReceiverP2P::OnReceivedConnectACK.FileSinkID : %u, IP : %s, Port : %d ", sinkID,
                  GetIpAddr(ip).c_str(), port);
}

void CFileReceiverP2P::OnChannelData(const void* data, int length) {
    LUMO_LOG_LINE("CFileReceiverP2P::OnFileChannelData(nLen : %d)", length);
    CShareReceiverP2P::OnChannelData(data, length);
}
