#include "whiteboard/wb_session_client_p2p.h"

CWBSessionClientP2P::CWBSessionClientP2P(IWBSessionClientNotify& notify, CWBChannel& channel)
    : CWBClientUDP(notify, channel, m_subscription),
      m_subscription(media::kWhiteboard, static_cast<uint32_t>(CWBSession::GetWBSessionID())) {}

bool CWBSessionClientP2P::Connect(uint32_t userID) {
    m_subscription.SetUser(userID);
    if (!Start()) return false;
    m_subscription.Start();
    return true;
}
