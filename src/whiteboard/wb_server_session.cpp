#include "whiteboard/wb_server_session.h"

#include "link/process/instances.h"
#include "link/tcp/tcp_link.h"
#include "whiteboard/wb_message.h"
#include "whiteboard/wb_pointers.h"

CWBSessionServerUDP::CWBSessionServerUDP(CWBChannel& channel, uint32_t ip, uint16_t port, uint32_t remoteSessionID)
    : CWBServerSession(channel),
      m_udp(media::kWhiteboard, ip, port, remoteSessionID, SessionID()),
      m_channel(CWBChannelState::Of(channel)) {}

bool CWBSessionServerUDP::StartSession() { return m_frames.OpenLink(m_udp.Remote().IP()); }

void CWBSessionServerUDP::Join() {
    if (!GetServerHooks()) {
        JoinWBChannel();
        return;
    }
    m_bAwaited.store(true, std::memory_order_relaxed);
    m_channel.awaited.fetch_add(1, std::memory_order_relaxed);
}

void CWBSessionServerUDP::JoinOnceValidated() {
    if (!m_bAwaited.exchange(false, std::memory_order_relaxed)) return;
    JoinWBChannel();
    m_channel.awaited.fetch_sub(1, std::memory_order_relaxed);
}

void CWBSessionServerUDP::LeaveWBChannel() {
    if (m_bAwaited.exchange(false, std::memory_order_relaxed))
        m_channel.awaited.fetch_sub(1, std::memory_order_relaxed);
    CWBSession::LeaveWBChannel();
    m_frames.CloseLink();
}

void CWBSessionServerUDP::SendWBSessionData(const char* data, int len) {
    if (data && len >= 1) wb::Queue(m_frames, data, len);
}

void CWBSessionServerUDP::SendConnectAck() { m_udp.AcknowledgeConnect(); }

void CWBSessionServerUDP::OnReceivedKeepAlive() { m_udp.AcknowledgeKeepAlive(); }

void CWBSessionServerUDP::OnReceivedFrame(const char* packet, int length) {
    m_udp.Touch();
    m_frames.OnPacket(packet, length);
}

CSinkInfo CWBSessionServerUDP::Info() {
    CSinkInfo info = CWBServerSession::Info();
    info.ip = m_udp.Remote().IP();
    info.port = m_udp.Remote().Port();
    return info;
}

void CWBSessionServerTCP::AnswerValidation() {
    const wire::CWireWriter channel = wire::CWireWriter().U32(static_cast<uint32_t>(GetWBChannelID()));
    m_tcp.Answer(this, ValidationMessage(wire::TcpType::Whiteboard, channel));
}

void CWBSessionServerTCP::LeaveWBChannel() {
    CWBSession::LeaveWBChannel();
    m_tcp.Release();
}

void CWBSessionServerTCP::SendWBSessionData(const char* data, int len) {
    if (!data || len < wb::kMinTcpFrame) return;
    uint64_t key = 0;
    if (wb::IsPointer(data, len, key))
        m_tcp.SendNewest(key, data, len);
    else
        m_tcp.Send(data, len);
}

bool CWBSessionServerTCP::OnTcpSessionNotifyReceivedFrame(const char* data, int length) {
    if (data && length >= wb::kMinTcpFrame) OnClientMessage(data, length);
    return true;
}
