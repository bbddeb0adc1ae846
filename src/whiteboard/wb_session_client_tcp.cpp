#include "whiteboard/wb_session_client_tcp.h"

bool CWBSessionClientTCP::Connect(const CMcuAddress& peer, const CMcuAddress& local, const CProxy& proxy) {
    if (peer.IsEmpty() || peer.port == 0) return false;
    m_peerMcu = peer;
    m_localMcu = local;
    const CMcuAddress& mcu = ChoosePeerMcu(peer, local, false) ? m_peerMcu : m_localMcu;
    return Dial(mcu.ips[0], mcu.port, proxy);
}

wire::CDatagram CWBSessionClientTCP::Request() {
    const bool peer = ChoosePeerMcu(m_peerMcu, m_localMcu, false);
    wire::CDatagram payload;
    payload.U32(static_cast<uint32_t>(GetWBChannelID()));
    for (uint32_t ip : m_peerMcu.ips) payload.U32(peer ? 0 : ip);  // zeros: nothing to relay
    payload.U16(peer ? uint16_t{0} : m_peerMcu.port);
    return payload;
}
