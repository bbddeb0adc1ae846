#include "whiteboard/wb_session_client_udp.h"

CWBSessionClientUDP::CWBSessionClientUDP(IWBSessionClientNotify& notify, CWBChannel& channel)
    : CWBClientUDP(notify, channel, m_subscription),
      m_subscription(media::kWhiteboard, static_cast<uint32_t>(CWBSession::GetWBSessionID())) {}

bool CWBSessionClientUDP::Connect(const CMcuAddress& peer, const CMcuAddress& local, bool peerMCUOnly) {
    m_subscription.SetMcus(peer, local, peerMCUOnly);
    m_subscription.Touch();
    if (!Start()) return false;
    SendConnect();
    return true;
}
