#include "file/file_sink_tcp.h"

#include "link/instances.h"
#include "link/limits.h"
#include "link/server_hooks.h"
#include "link/tcp_link.h"
#include "platform/lumobase/app_log.h"

namespace {
constexpr uint8_t kKeepAliveEvery = 11;  // idle sweeps
}

CFileSinkTCP::CFileSinkTCP(CFileChannel& channel, ITcpSession* session)
    : CFileSink(channel),
      m_pITcpSession(session),
      m_keepAlive(kKeepAliveEvery),
      m_nQueueLimit(GetServerHooks() ? GetServerHooks()->SinkQueueLimit() : limits::kMaxQueueBytes),
      m_ulRemoteIP(session ? static_cast<uint32_t>(session->GetRemoteIP()) : 0),
      m_usRemotePort(session ? session->GetRemotePort() : uint16_t{0}) {}

void CFileSinkTCP::AnswerValidation() {
    if (!m_pITcpSession) return;
    m_pITcpSession->SetNotify(this);
    const wire::CDatagram answer =
        ValidationMessage(wire::TcpType::FileReceiver, wire::CDatagram().U32(GetFileChannelID()));
    m_pITcpSession->SendData(answer.Data(), answer.Length(), 1);
}

void CFileSinkTCP::ReleaseConnections() {
    CFileSink::ReleaseConnections();
    if (m_pITcpSession) m_pITcpSession->ReleaseConnections();
    m_pITcpSession = nullptr;
}

bool CFileSinkTCP::IsDisconnected() {
    if (!m_pITcpSession) return false;
    if (m_pITcpSession->IsDisconnected() || m_bOverrun.load(std::memory_order_relaxed)) return true;
    if (m_pITcpSession->GetSendQueueSize() == 0 && m_keepAlive.Poll()) {
        const char keepAlive = 0;
        m_pITcpSession->SendData(&keepAlive, 1, 0);
    }
    return false;
}

void CFileSinkTCP::OnFileChannelData(const void* data, int length) {
    if (!data || length < limits::kMinFrameLen) return;
    if (m_pITcpSession && HasRoom()) m_pITcpSession->SendData(static_cast<const char*>(data), length, 0);
    m_keepAlive.Restart();
}

// What waits already counts, not the new frame: a long one is no reason to lose whoever reads in time.
bool CFileSinkTCP::HasRoom() {
    if (m_pITcpSession->GetSendQueueBytes() > m_nQueueLimit) m_bOverrun.store(true, std::memory_order_relaxed);
    return !m_bOverrun.load(std::memory_order_relaxed);
}

void CFileSinkTCP::CloseWhenSent() {
    if (m_pITcpSession) m_pITcpSession->CloseWhenSent();
}

uint32_t CFileSinkTCP::GetBufferingFrameCount() {
    return m_pITcpSession ? static_cast<uint32_t>(m_pITcpSession->GetSendQueueSize()) : 0;
}

bool CFileSinkTCP::OnTcpSessionNotifyReceivedFrame(const char* data, int length) {
    LUMO_LOG_LINE("CFileSinkTCP::OnTcpSessionNotifyReceivedFrame. nLen : %d", length);
    if (data && length >= limits::kMinFrameLen) DeliverUpstream(data, length);
    return true;
}
