#include "file/file_sender_udp.h"

#include "platform/lumobase/app_log.h"
#include "platform/lumonet/lumonet.h"

void CFileSenderUDP::OnReceivedConnectACK(uint32_t sourceID, uint32_t ip, uint16_t port) {
    LUMO_LOG_LINE("CFileSenderUDP::OnReceivedConnectACK(ulFileSourceID : %u, IP : %s, Port : %d)", sourceID,
                  GetIpAddr(ip).c_str(), port);
    CShareSenderUDP::OnReceivedConnectACK(sourceID, ip, port);
}

void CFileSenderUDP::SendSourceClose() {
    LUMO_LOG_LINE(" CFileSenderUDP::SendFileSourceClose");
    CShareSenderUDP::SendSourceClose();
}
