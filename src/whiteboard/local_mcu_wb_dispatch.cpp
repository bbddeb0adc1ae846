// What each whiteboard datagram does. Objects named by a datagram are used under the lock of their table.
#include "link/tables/mcu_dispatch.h"
#include "whiteboard/local_mcu_wb.h"
#include "whiteboard/wb_server_session.h"

using wire::CWireReader;

struct CWBDispatch {
    static constexpr CDispatchRow<CLocalMCUWB> kRows[] = {
        {wire::UDP_WB_CONNECT, &CLocalMCUWB::OnConnect},
        {wire::UDP_WB_CONNECT_ACK, &CLocalMCUWB::OnConnectAck},
        {wire::UDP_WB_DISCONNECT, &CLocalMCUWB::OnDisconnect},
        {wire::UDP_WB_KEEP_ALIVE, &CLocalMCUWB::OnKeepAlive},
        {wire::UDP_WB_KEEP_ALIVE_ACK, &CLocalMCUWB::OnKeepAliveAck},
        {wire::UDP_WB_CLIENT_FRAME, &CLocalMCUWB::OnClientFrame},
        {wire::UDP_WB_SERVER_FRAME, &CLocalMCUWB::OnServerFrame},
    };
};

void CLocalMCUWB::OnUdpWBFrame(const char* body, int len, unsigned long ip, unsigned short port) {
    DispatchDatagram(*this, CWBDispatch::kRows, wire::Kind::Whiteboard, body, len, static_cast<uint32_t>(ip), port);
}

void CLocalMCUWB::OnSinkNamed(const CServerDatagram& datagram) {
    m_tables.OnSinkNamed(Fields(datagram).U32(), datagram.ip, datagram.port);
}

void CLocalMCUWB::OnConnect(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const uint32_t clientSessionID = fields.U32();
    ConnectWBSession(clientSessionID, fields.U32(), datagram.ip, datagram.port);
}

void CLocalMCUWB::OnConnectAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const auto client = m_tables.receivers.Lock(fields.U32());
    if (client) client->OnReceivedConnectACK(fields.U32(), datagram.ip, datagram.port);
}

void CLocalMCUWB::OnDisconnect(const CServerDatagram& datagram) {
    const auto isUDP = [](CWBServerSession& session) { return session.AsUDP() != nullptr; };
    m_tables.sinks.EndIf(Fields(datagram).U32(), isUDP, CTables::EndSink);
}

void CLocalMCUWB::OnKeepAlive(const CServerDatagram& datagram) {
    const auto session = m_tables.sinks.Lock(Fields(datagram).U32());
    if (CWBSessionServerUDP* udp = session ? session->AsUDP() : nullptr) udp->OnReceivedKeepAlive();
}

void CLocalMCUWB::OnKeepAliveAck(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const auto client = m_tables.receivers.Lock(fields.U32());
    if (client) client->OnReceivedKeepAliveACK(fields.U32(), datagram.ip, datagram.port);
}

void CLocalMCUWB::OnClientFrame(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const auto session = m_tables.sinks.Lock(fields.U32());
    if (CWBSessionServerUDP* udp = session ? session->AsUDP() : nullptr)
        udp->OnReceivedFrame(fields.Rest(), fields.Left());
}

void CLocalMCUWB::OnServerFrame(const CServerDatagram& datagram) {
    CWireReader fields = Fields(datagram);
    const auto client = m_tables.receivers.Lock(fields.U32());
    const uint32_t serverSessionID = fields.U32();
    if (client) client->OnReceivedFrame(serverSessionID, fields.Rest(), fields.Left(), datagram.ip, datagram.port);
}
