#include "whiteboard/wb_session_client_tcp.h"

bool CWBSessionClientTCP::Connect(const CMcuAddress& peer, const CMcuAddress& local, const CProxyServer& proxy) {
    m_request.Set(peer, local);
    return m_request.IsWhole() && Dial(m_request.Server().ips[0], m_request.Server().port, proxy);
}

wire::CDatagram CWBSessionClientTCP::Request() {
    wire::CDatagram payload = wire::CDatagram().U32(static_cast<uint32_t>(GetWBChannelID()));
    m_request.Append(payload, media::kWhiteboard.sink);
    return payload;
}
