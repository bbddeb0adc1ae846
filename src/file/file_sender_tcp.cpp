#include "file/file_sender_tcp.h"

#include "link/callback.h"
#include "link/mcu_address.h"
#include "platform/lumobase/app_log.h"

namespace {
constexpr uint8_t kKeepAliveEvery = 12;  // idle polls
}

CFileSenderTCP::CFileSenderTCP(IFileSenderNotify& notify, CFileChannel& channel)
    : CFileSender(notify, channel), m_link(kKeepAliveEvery) {}

bool CFileSenderTCP::Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port, const CProxy& proxy) {
    LUMO_LOG_LINE("CFileSenderTCP::Connect(MCUIP0 : %s, Port : %d)", GetIpAddr(ip0).c_str(), port);
    if (CMcuAddress{{ip0, ip1, ip2}, port}.IsEmpty() || port == 0) return false;
    LUMO_LOG_LINE("CreateTcpClient(MCUIP0 : %s, Port : %d)", GetIpAddr(ip0).c_str(), port);
    return m_link.Dial(this, ip0, port, proxy);
}

void CFileSenderTCP::OnTcpClientNotifyConnected() {
    m_link.Settle();
    LUMO_LOG_LINE("CFileSenderTCP::OnTcpClientNotifyConnected. connected success");
    m_link.SendValidation(ValidationMessage(wire::TcpType::FileSender, wire::CDatagram().U32(GetFileChannelID())));
}

bool CFileSenderTCP::OnTcpClientNotifyValidate(unsigned long /*type*/, const char* data, int length) {
    m_link.Settle();
    uint32_t channelID = 0;
    if (!ReadChannelAnswer(data, length, channelID)) {
        LUMO_LOG_LINE("CFileSenderTCP::OnTcpClientNotifyValidate. pData is null. Disconnect");
        return false;
    }
    m_ulFileChannelID.store(channelID, std::memory_order_relaxed);
    if (channelID == 0) {
        LUMO_LOG_LINE("CFileSenderTCP::OnTcpClientNotifyValidate. m_ulFileChannelID is 0. Disconnect");
        return false;
    }
    LUMO_LOG_LINE("CFileSenderTCP::OnTcpClientNotifyValidate(FileChannelID : %u)", channelID);
    NotifyConnected(m_link.RemoteIP());
    return true;
}

bool CFileSenderTCP::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    OnUpstreamFrame(data, length);
    return true;
}

bool CFileSenderTCP::IsDisconnected() {
    if (m_link.Poll() != TcpPoll::Lost) return false;
    LUMO_LOG_LINE("CFileSenderTCP::IsDisconnected() is disconnected");
    return true;
}

void CFileSenderTCP::ReleaseConnections() {
    AssertNotInCallback();
    CFileSender::ReleaseConnections();
    m_link.Release();
    delete this;
}
