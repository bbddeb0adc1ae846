#include "whiteboard/wb_client_udp.h"

#include "whiteboard/local_mcu_wb.h"
#include "whiteboard/wb_pointers.h"

CWBClientUDP::CWBClientUDP(IWBSessionClientNotify& notify, CWBChannel& channel, CUdpSubscriberLink& subscriberLink)
    : CWBSession(&channel), m_subscriberLink(subscriberLink), m_pNotify(&notify) {
    m_frames.SetHeld(true);
}

bool CWBClientUDP::Start() {
    if (!m_frames.OpenLink() || !JoinWBChannel()) return false;
    if (CLocalMCUWB* mcu = GetLocalMCUWB()) mcu->AddWBClient(this);
    return true;
}

void CWBClientUDP::OnReceivedConnectACK(uint32_t serverSessionID, uint32_t ip, uint16_t port) {
    if (m_subscriberLink.OnConnectAck(serverSessionID, ip, port) != ConnectAck::First) return;
    if (m_frames.SetHeld(false)) JoinWBChannel();  // what the channel had said was dropped, its list among it
    CallApplication([&] { m_pNotify->OnWBSessionClientNotifyConnected(ip); });
}

void CWBClientUDP::OnReceivedKeepAliveACK(uint32_t serverSessionID, uint32_t ip, uint16_t port) {
    m_subscriberLink.Accepts(serverSessionID, ip, port);
}

void CWBClientUDP::OnReceivedFrame(uint32_t serverSessionID, const char* packet, int length, uint32_t ip,
                                   uint16_t port) {
    if (m_subscriberLink.Accepts(serverSessionID, ip, port)) m_frames.OnPacket(packet, length);
}

void CWBClientUDP::SendWBSessionData(const char* data, int len) {
    if (data && len >= 1) wb::Queue(m_frames, data, len);
}

void CWBClientUDP::SendSCTPData(char* packet, int length) {
    if (m_subscriberLink.SinkID() != 0) m_subscriberLink.SendPacket(packet, length);
}

void CWBClientUDP::ReleaseConnections() {
    if (RefusesRelease("A client of whiteboard", static_cast<uint32_t>(GetWBChannelID()))) return;
    if (CLocalMCUWB* mcu = GetLocalMCUWB()) mcu->RemoveWBClient(this);
    LeaveWBChannel();
    SendDisconnect();
    m_frames.CloseLink();
    delete this;
}

CWBSessionClientUDP::CWBSessionClientUDP(IWBSessionClientNotify& notify, CWBChannel& channel)
    : CWBClientUDP(notify, channel, m_subscription),
      m_subscription(media::kWhiteboard, static_cast<uint32_t>(CWBSession::GetWBSessionID())) {}

bool CWBSessionClientUDP::Connect(const CMcuAddress& publishers, const CMcuAddress& near, bool publishersOnly) {
    m_subscription.SetMcus(publishers, near, publishersOnly);
    m_subscription.Touch();
    if (!Start()) return false;
    SendConnect();
    return true;
}

CWBSessionClientP2P::CWBSessionClientP2P(IWBSessionClientNotify& notify, CWBChannel& channel)
    : CWBClientUDP(notify, channel, m_subscription),
      m_subscription(media::kWhiteboard, static_cast<uint32_t>(CWBSession::GetWBSessionID())) {}

bool CWBSessionClientP2P::Connect(uint32_t userID) {
    m_subscription.SetUser(userID);
    if (!Start()) return false;
    m_subscription.Start();
    return true;
}
