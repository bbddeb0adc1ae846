#include "whiteboard/wb_client_tcp.h"

#include "link/callback.h"
#include "link/media.h"
#include "whiteboard/wb_message.h"
#include "whiteboard/wb_pointers.h"

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
    if (!data || length < wb::kMinTcpFrame) return true;
    CallApplication([&] { OnWBSessionData(data, length); });  // the board is the application's
    return true;
}

void CWBClientTCP::SendWBSessionData(const char* data, int len) {
    if (!data || len < wb::kMinTcpFrame) return;
    uint64_t key = 0;
    const bool sent = wb::IsPointer(data, len, key) ? m_link.SendNewest(key, data, len) : m_link.SendFrame(data, len);
    if (sent) m_link.RestartKeepAlive();
}

void CWBClientTCP::ReleaseConnections() {
    if (RefusesRelease("A client of whiteboard", static_cast<uint32_t>(GetWBChannelID()))) return;
    LeaveWBChannel();
    m_link.Release();
    delete this;
}

bool CWBSessionClientTCP::Connect(const CMcuAddress& publishers, const CMcuAddress& near, const CProxyServer& proxy) {
    m_request.Set(publishers, near);
    return m_request.IsWhole() && Dial(m_request.Server().ips[0], m_request.Server().port, proxy);
}

wire::CWireWriter CWBSessionClientTCP::Request() {
    wire::CWireWriter payload = wire::CWireWriter().U32(static_cast<uint32_t>(GetWBChannelID()));
    m_request.Append(payload, media::kWhiteboard.sink);
    return payload;
}

bool CWBSessionClientP2PTCP::Connect(uint32_t userID) {
    m_path.SetUser(userID);
    m_path.StartTcp();
    return JoinWBChannel();
}

bool CWBSessionClientP2PTCP::IsDisconnected() {
    const TcpPoll poll = m_link.Poll();
    return poll == TcpPoll::NoClient ? !DialPeer() : poll == TcpPoll::Lost;
}

// False when there is no way, or no client was made.
bool CWBSessionClientP2PTCP::DialPeer() {
    const CPeerPath::TcpWay way = m_path.GetTcp();
    if (way.tcp == CPeerPath::Tcp::Unknown) return true;
    return way.tcp != CPeerPath::Tcp::Closed && way.reachable && Dial(way.ip, way.port, {});
}
