#include "link/tcp/tcp_link.h"

#include "link/bounds/limits.h"

using wire::CWireWriter;

CWireWriter ValidationMessage(wire::TcpType type, const CWireWriter& payload) {
    CWireWriter message;
    message.U32(static_cast<uint32_t>(type)).U32(static_cast<uint32_t>(payload.Length()));
    message.Bytes(payload.Data(), payload.Length());
    return message;
}

bool ReadChannelAnswer(const char* data, int length, uint32_t& channelID) {
    if (!data || length != 4) return false;
    channelID = wire::CWireReader(data, length).U32();
    return true;
}

bool CTcpLink::Dial(ITcpClientNotify* notify, uint32_t ip, uint16_t port, const CProxyServer& proxy) {
    m_entry.Enter(*this);
    CAutoLock lock(&m_cs);
    if (m_pITcpClient) return true;  // another thread's poll has dialled already
    m_usPort = port;
    m_pITcpClient = CreateTcpClient(notify, GetIpAddr(ip), port, static_cast<int>(proxy.type), proxy.host, proxy.port,
                                    proxy.user, proxy.password);
    if (m_pITcpClient && m_ulMaxAge != 0) m_pITcpClient->SetMaxAge(m_ulMaxAge);
    return m_pITcpClient != nullptr;
}

void CTcpLink::SendValidation(const CWireWriter& message) {
    CAutoLock lock(&m_cs);
    if (m_pITcpClient) m_pITcpClient->SendData(message.Data(), message.Length(), 1);
}

bool CTcpLink::SendFrame(const void* data, int length) {
    CAutoLock lock(&m_cs);
    if (!m_pITcpClient || length > limits::kMaxFrameLen) return false;
    if (!m_limit.Take(BytesWaiting(*m_pITcpClient), length)) return false;
    m_pITcpClient->SendData(static_cast<const char*>(data), length, 0);
    return true;
}

bool CTcpLink::SendNewest(uint64_t key, const void* data, int length) {
    CAutoLock lock(&m_cs);
    if (!m_pITcpClient || length > limits::kMaxFrameLen || m_limit.IsOverrun()) return false;
    m_pITcpClient->SendNewest(key, static_cast<const char*>(data), length);
    return true;
}

void CTcpLink::ClearQueue() {
    CAutoLock lock(&m_cs);
    m_limit.Reset(0);
    if (m_pITcpClient) m_pITcpClient->ClearSendQueue();
}

void CTcpLink::SendControl(char control, bool alone) {
    CAutoLock lock(&m_cs);
    m_cKeepAlive = control;
    if (!m_pITcpClient) return;
    if (alone) m_pITcpClient->ClearSendQueue();
    m_pITcpClient->SendData(&control, 1, 0);
    m_keepAlive.Restart();
}

TcpPoll CTcpLink::Poll() {
    CAutoLock lock(&m_cs);
    if (!m_pITcpClient) return TcpPoll::NoClient;
    if (m_pITcpClient->IsDisconnected() || m_limit.IsOverrun()) return TcpPoll::Lost;
    if (m_pITcpClient->GetSendQueueSize() == 0 && m_keepAlive.Poll()) {
        const char keepAlive = m_cKeepAlive;
        m_pITcpClient->SendData(&keepAlive, 1, 0);
    }
    return TcpPoll::Alive;
}

uint32_t CTcpLink::QueuedFrames() {
    CAutoLock lock(&m_cs);
    return m_pITcpClient ? static_cast<uint32_t>(m_pITcpClient->GetSendQueueSize()) : 0;
}

uint64_t CTcpLink::QueuedBytes() {
    CAutoLock lock(&m_cs);
    return m_pITcpClient ? m_pITcpClient->GetSendQueueBytes() : 0;
}

uint32_t CTcpLink::RemoteIP() {
    CAutoLock lock(&m_cs);
    return m_pITcpClient ? static_cast<uint32_t>(m_pITcpClient->GetRemoteIP()) : 0;
}

void CTcpLink::FillStatistics(LumoLinkStatistics& statistics) {
    statistics = LumoLinkStatistics();
    statistics.byKind = static_cast<unsigned char>(m_kind);
    statistics.byTransport = 1;
    CAutoLock lock(&m_cs);
    if (!m_pITcpClient) return;
    statistics.ulRemoteIP = m_pITcpClient->GetRemoteIP();
    statistics.usRemotePort = m_usPort;
    statistics.ulQueuedFrames = m_pITcpClient->GetSendQueueSize();
    statistics.ullQueuedBytes = m_pITcpClient->GetSendQueueBytes();
    statistics.szCongestionControl = m_pITcpClient->GetCongestionControl();
    statistics.ullBytesReceived = statistics.ullSignsOfLife = m_pITcpClient->GetReceivedBytes();
}

void CTcpLink::Release() {
    m_entry.Leave();
    ITcpClient* client = nullptr;
    {
        CAutoLock lock(&m_cs);
        client = m_pITcpClient;
        m_pITcpClient = nullptr;
    }
    if (client) client->ReleaseConnections();
}
