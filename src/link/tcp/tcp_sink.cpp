#include "link/tcp/tcp_sink.h"

#include "link/media.h"
#include "link/process/instances.h"

CTcpSink::CTcpSink(ITcpSession* session)
    : m_pSession(session),
      m_keepAlive(media::kAcceptedKeepAliveEvery),
      m_limit(GetServerHooks() ? GetServerHooks()->SinkQueueLimit() : limits::kMaxQueueBytes),
      m_withinLimit(CActivity::Now()),
      m_ulRemoteIP(session ? static_cast<uint32_t>(session->GetRemoteIP()) : 0),
      m_usRemotePort(session ? session->GetRemotePort() : uint16_t{0}) {
    if (session && GetServerHooks()) session->SetMaxStall(kTakesNothingMs);
}

void CTcpSink::Answer(ITcpSessionNotify* notify, const wire::CWireWriter& message) {
    if (!m_pSession) return;
    m_pSession->SetNotify(notify);
    m_pSession->SendData(message.Data(), message.Length(), 1);
}

void CTcpSink::Send(const void* data, int length) {
    m_keepAlive.Restart();
    if (!m_pSession) return;
    if (m_limit.Take(QueueCost(), length))
        m_pSession->SendData(static_cast<const char*>(data), length, 0);
    else
        m_limit.CountDropped(1);
}

void CTcpSink::SendNewest(uint64_t key, const void* data, int length) {
    m_keepAlive.Restart();
    if (m_pSession && !m_limit.IsOverrun()) m_pSession->SendNewest(key, static_cast<const char*>(data), length);
}

void CTcpSink::DropQueue() {
    const uint32_t before = QueuedFrames();
    if (m_pSession) m_pSession->ClearSendQueue();
    const uint32_t left = QueuedFrames();  // a frame that is partly sent stays
    m_limit.Reset(before > left ? before - left : 0);
}

bool CTcpSink::IsStuck() {
    if (m_limit.IsOverrun()) return m_ulPatience == 0 || m_withinLimit.SilentFor(m_ulPatience);
    m_withinLimit.Touch();
    return false;
}

bool CTcpSink::Poll() {
    if (!m_pSession) return false;
    if (m_pSession->IsDisconnected() || IsStuck()) return true;
    if (m_pSession->GetSendQueueSize() == 0 && m_keepAlive.Poll()) {
        const char keepAlive = 0;
        m_pSession->SendData(&keepAlive, 1, 0);
    }
    return false;
}

CSinkInfo CTcpSink::Describe(CSinkInfo info) {
    info.ip = m_ulRemoteIP;
    info.port = m_usRemotePort;
    info.tcp = true;
    info.queuedBytes = m_pSession ? m_pSession->GetSendQueueBytes() : 0;
    info.congestionControl = CongestionControl();
    info.framesDropped = m_limit.Dropped();
    if (m_pSession) info.framesDropped += m_pSession->GetAgedFrames();
    return info;
}

void CTcpSink::Release() {
    if (m_pSession) m_pSession->ReleaseConnections();
    m_pSession = nullptr;
}
