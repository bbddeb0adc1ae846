#include "whiteboard/wb_client_udp.h"

#include "link/callback.h"
#include "whiteboard/local_mcu_wb.h"

CWBClientUDP::CWBClientUDP(IWBSessionClientNotify& notify, CWBChannel& channel, CSinkLink& sinkLink)
    : CWBSession(&channel), m_sinkLink(sinkLink), m_pNotify(&notify) {
    SetHeld(true);
}

bool CWBClientUDP::Start() {
    if (!OpenLink() || !JoinWBChannel()) return false;
    if (CLocalMCUWB* mcu = GetLocalMCUWB()) mcu->AddWBClient(this);
    return true;
}

void CWBClientUDP::OnReceivedConnectACK(uint32_t serverSessionID, uint32_t ip, uint16_t port) {
    if (m_sinkLink.OnConnectAck(serverSessionID, ip, port) != ConnectAck::First) return;
    if (SetHeld(false)) JoinWBChannel();  // what the channel had said was dropped, its list among it
    CallApplication([&] { m_pNotify->OnWBSessionClientNotifyConnected(ip); });
}

void CWBClientUDP::OnReceivedKeepAliveACK(uint32_t serverSessionID, uint32_t ip, uint16_t port) {
    m_sinkLink.Accepts(serverSessionID, ip, port);
}

void CWBClientUDP::OnReceivedFrame(uint32_t serverSessionID, const char* packet, int length, uint32_t ip,
                                   uint16_t port) {
    if (m_sinkLink.Accepts(serverSessionID, ip, port)) OnPacket(packet, length);
}

void CWBClientUDP::SendWBSessionData(const char* data, int len) {
    if (data && len >= 1) QueueFrame(data, len);
}

void CWBClientUDP::SendSCTPData(char* packet, int length) {
    if (m_sinkLink.SinkID() != 0) m_sinkLink.SendPacket(packet, length);
}

void CWBClientUDP::ReleaseConnections() {
    if (RefusesRelease("A client of whiteboard", static_cast<uint32_t>(GetWBChannelID()))) return;
    if (CLocalMCUWB* mcu = GetLocalMCUWB()) mcu->RemoveWBClient(this);
    LeaveWBChannel();
    SendDisconnect();
    CloseLink();
    delete this;
}

void CWBClientUDP::DescribeLink(LumoLinkStatistics& statistics) const { m_sinkLink.Describe(statistics); }
