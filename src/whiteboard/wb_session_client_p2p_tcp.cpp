#include "whiteboard/wb_session_client_p2p_tcp.h"

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
