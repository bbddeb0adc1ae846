#include "whiteboard/wb_client_tcp.h"

#include "link/callback.h"
#include "link/media.h"
#include "whiteboard/wb_message.h"

CWBClientTCP::CWBClientTCP(IWBSessionClientNotify& notify, CWBChannel& channel)
    : CWBSession(&channel), m_link(media::kWhiteboard.kind, media::kReceiverKeepAliveEvery), m_pNotify(&notify) {}

// Joined before anything can arrive, since it needs an answer; and once more behind the dial, since what the channel
// said before it went nowhere.
bool CWBClientTCP::Dial(uint32_t ip, uint16_t port, const CProxyServer& proxy) {
    return JoinWBChannel() && m_link.Dial(this, ip, port, proxy) && JoinWBChannel();
}

void CWBClientTCP::OnTcpClientNotifyConnected() {
    m_link.Settle();
    m_link.SendValidation(ValidationMessage(media::kWhiteboard.tcp.receiver, Request()));
}

bool CWBClientTCP::OnTcpClientNotifyValidate(unsigned long /*type*/, const char* data, int length) {
    m_link.Settle();
    uint32_t channelID = 0;
    if (!ReadChannelAnswer(data, length, channelID) || channelID != GetWBChannelID()) return false;
    const uint32_t ip = m_link.RemoteIP();
    CallApplication([&] { m_pNotify->OnWBSessionClientNotifyConnected(ip); });
    return true;
}

bool CWBClientTCP::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    if (data && length >= wb::kMinTcpFrame) OnWBSessionData(data, length);
    return true;
}

void CWBClientTCP::SendWBSessionData(const char* data, int len) {
    if (data && len >= wb::kMinTcpFrame && m_link.SendFrame(data, len)) m_link.RestartKeepAlive();
}

void CWBClientTCP::ReleaseConnections() {
    if (RefusesRelease("A client of whiteboard", static_cast<uint32_t>(GetWBChannelID()))) return;
    LeaveWBChannel();
    m_link.Release();
    delete this;
}
