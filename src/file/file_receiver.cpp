#include "file/file_receiver.h"

#include "platform/lumobase/app_log.h"
#include "platform/lumonet/lumonet.h"

bool CFileReceiverUDP::Connect(const CMcuAddress& publishers, const CMcuAddress& near, bool publishersOnly) {
    if (!CShareReceiverUDP::Connect(publishers, near, publishersOnly)) return false;
    m_link.Touch();
    return true;
}

void CFileReceiverUDP::OnAcknowledged(uint32_t sinkID, uint32_t ip, uint16_t port) {
    LUMO_LOG_LINE("CFileReceiverUDP::OnReceivedConnectACK. ulFileSinkID : %u, Ip : %s, Port : %d", sinkID,
                  GetIpAddr(ip).c_str(), port);
}

void CFileReceiverUDP::OnChannelData(const void* data, int length) {
    LUMO_LOG_DEBUG("CFileReceiverUDP::OnFileChannelData(nLen : %d)", length);
    CShareReceiverUDP::OnChannelData(data, length);
}

void CFileReceiverTCP::OnTcpClientNotifyConnected() {
    LUMO_LOG_LINE("tcp-mcu connect success");
    CShareReceiverTCP::OnTcpClientNotifyConnected();
}

bool CFileReceiverTCP::OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) {
    LUMO_LOG_LINE("tcp-mcu. OnTcpClientNotifyValidate(Type : %u, Len : %d)", static_cast<uint32_t>(type), length);
    return CShareReceiverTCP::OnTcpClientNotifyValidate(type, data, length);
}

bool CFileReceiverTCP::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    LUMO_LOG_DEBUG("tcp-mcu. recv file data. nLen = %d", length);
    return CShareReceiverTCP::OnTcpClientNotifyReceivedFrame(data, length);
}

void CFileReceiverTCP::OnChannelData(const void* data, int length) {
    LUMO_LOG_DEBUG("tcp-mcu. send file data. nLen = %d", length);
    CShareReceiverTCP::OnChannelData(data, length);
}

bool CFileReceiverP2P::Connect(uint32_t userID) {
    LUMO_LOG_LINE("CFileReceiverP2P::Connect(UserID : %u)", userID);
    return CShareReceiverP2P::Connect(userID);
}

void CFileReceiverP2P::OnAcknowledged(uint32_t sinkID, uint32_t ip, uint16_t port) {
    LUMO_LOG_LINE("CFileReceiverP2P::OnReceivedConnectACK.FileSinkID : %u, IP : %s, Port : %d ", sinkID,
                  GetIpAddr(ip).c_str(), port);
}

void CFileReceiverP2P::OnChannelData(const void* data, int length) {
    LUMO_LOG_DEBUG("CFileReceiverP2P::OnFileChannelData(nLen : %d)", length);
    CShareReceiverP2P::OnChannelData(data, length);
}

namespace {

/// A pointer as the log shows it.
unsigned Shown(const void* pointer) { return static_cast<unsigned>(reinterpret_cast<uintptr_t>(pointer)); }

void LogDial(const char* why, const void* client, const CPeerPath::TcpWay& way) {
    LUMO_LOG_LINE(
        "%s.pMTP2PIP->m_pITcpClient memory : %u.LocalIp = %s, LocalNatIp = %s, UserLocalIp = %s, UserNatIp = %s.", why,
        Shown(client), GetIpAddr(way.own.ulLocalIP).c_str(), GetIpAddr(way.own.ulNATIP).c_str(),
        GetIpAddr(way.peer->m_ulLocalIP).c_str(), GetIpAddr(way.peer->m_ulNATIP).c_str());
}

}  // namespace

CFileReceiverP2PTCP::CFileReceiverP2PTCP(IFileReceiverNotify& notify, CShareChannel& channel)
    : CShareReceiverP2PTCP(notify, channel) {
    LUMO_LOG_LINE("CFileReceiverP2PTCP::CFileReceiverP2PTCP.Notify memory : %u", Shown(&notify));
}

void CFileReceiverP2PTCP::Connect(uint32_t userID) {
    LUMO_LOG_LINE("CFileReceiverP2PTCP::Connect(UserID : %u)", userID);
    CShareReceiverP2PTCP::Connect(userID);
}

bool CFileReceiverP2PTCP::IsDisconnected() {
    LUMO_LOG_DEBUG("CFileReceiverP2PTCP::IsDisconnected(void)");
    return CShareReceiverP2PTCP::IsDisconnected();
}

void CFileReceiverP2PTCP::OnWay(const CPeerPath::TcpWay& way) {
    if (way.tcp == CPeerPath::Tcp::Closed)
        LUMO_LOG_DEBUG("return true;");
    else if (way.tcp == CPeerPath::Tcp::SameNat)
        LogDial("pMTP2PIP->m_ulNATIP == P2PItem.ulNATIP", m_link.Client(), way);
    else
        LogDial("pMTP2PIP->m_bUpnp || pMTP2PIP->m_ulNATIP == pMTP2PIP->m_ulLocalIP", m_link.Client(), way);
}

bool CFileReceiverP2PTCP::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    LUMO_LOG_DEBUG("tcp-mcu. recv file data. nLen = %d", length);
    return CShareReceiverP2PTCP::OnTcpClientNotifyReceivedFrame(data, length);
}

bool CFileReceiverP2PTCP::OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) {
    m_link.Settle();
    if (!CheckAnswer(type, data, length)) return false;
    LUMO_LOG_LINE("Notify memory : %u. m_pITcpClient memory : %u", Shown(m_pNotify), Shown(m_link.Client()));
    if (!NotifyConnected(m_link.RemoteIP())) {
        LUMO_LOG_LINE(
            "CFileReceiverP2PTCP::OnTcpClientNotifyValidate.__except "
            "(MyUnhandledFilter(GetExceptionInformation()))");
        NotifyConnected(0);
        return true;
    }
    LUMO_LOG_LINE("CFileReceiverP2PTCP::OnTcpClientNotifyValidate end");
    return true;
}

bool CFileReceiverP2PTCP::CheckAnswer(unsigned long type, const char* data, int length) {
    LUMO_LOG_LINE("CFileReceiverP2PTCP::OnTcpClientNotifyValidate(Type : %u, Len : %d)", static_cast<uint32_t>(type),
                  length);
    uint32_t channelID = 0;
    if (!ReadChannelAnswer(data, length, channelID)) return false;
    LUMO_LOG_LINE(
        "CFileReceiverP2PTCP::OnTcpClientNotifyValidate.LocalFileChannelID : %u. FileChannelID : %u. m_pITcpClient %s.",
        GetFileChannelID(), channelID, m_link.Client() ? "is not null" : "is null");
    if (channelID == GetFileChannelID()) return true;
    LUMO_LOG_LINE("ulFileChannelID != GetFileChannelID()");
    return false;
}
