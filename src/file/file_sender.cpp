#include "file/file_sender.h"

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

bool CFileSenderTCP::Connect(const CMcuAddress& mcu, const CProxyServer& proxy) {
    LUMO_LOG_LINE("CFileSenderTCP::Connect(MCUIP0 : %s, Port : %d)", GetIpAddr(mcu.ips[0]).c_str(), mcu.port);
    return CShareSenderTCP::Connect(mcu, proxy);
}

void CFileSenderTCP::OnDial(const CMcuAddress& mcu) {
    LUMO_LOG_LINE("CreateTcpClient(MCUIP0 : %s, Port : %d)", GetIpAddr(mcu.ips[0]).c_str(), mcu.port);
}

void CFileSenderTCP::OnTcpClientNotifyConnected() {
    LUMO_LOG_LINE("CFileSenderTCP::OnTcpClientNotifyConnected. connected success");
    CShareSenderTCP::OnTcpClientNotifyConnected();
}

void CFileSenderTCP::OnAnswer(bool sized, uint32_t channelID) {
    if (!sized)
        LUMO_LOG_ERROR("CFileSenderTCP::OnTcpClientNotifyValidate. pData is null. Disconnect");
    else if (channelID == 0)
        LUMO_LOG_ERROR("CFileSenderTCP::OnTcpClientNotifyValidate. m_ulFileChannelID is 0. Disconnect");
    else
        LUMO_LOG_LINE("CFileSenderTCP::OnTcpClientNotifyValidate(FileChannelID : %u)", channelID);
}

bool CFileSenderTCP::IsDisconnected() {
    if (!CShareSenderTCP::IsDisconnected()) return false;
    LUMO_LOG_LINE("CFileSenderTCP::IsDisconnected() is disconnected");
    return true;
}
