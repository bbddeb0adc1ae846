#include "server/source_tcp.h"

#include "link/limits.h"
#include "link/tcp_link.h"
#include "link/tcp_sink.h"
#include "server/stream.h"

#include <utility>

CSourceTCP::CSourceTCP(const CMediumRow& row, CStream& stream, ITcpSession* session, const CServerLimits& limits,
                       CShareHold connection)
    : m_row(row),
      m_stream(stream),
      m_pSession(session),
      m_limits(limits),
      m_peer{static_cast<uint32_t>(session->GetRemoteIP()), session->GetRemotePort()},
      m_connection(std::move(connection)),
      m_keepAlive(media::kAcceptedKeepAliveEvery) {
    session->SetKeepsPlace();
}

void CSourceTCP::AnswerValidation() {
    m_pSession->SetNotify(this);
    const wire::CDatagram answer = ValidationMessage(m_row.tcp.sender, wire::CDatagram().U32(m_stream.ChannelID()));
    m_pSession->SendData(answer.Data(), answer.Length(), 1);
    if (!m_row.Stops()) return;
    SendControl(Control());
    OnChange();  // who began to listen in between saw a publisher that had not been told anything yet
}

char CSourceTCP::Control() const { return m_row.Stops() && m_stream.Wanted() == 0 ? m_row.tcp.stop : m_row.tcp.start; }

void CSourceTCP::SendControl(char control) {
    m_cTold.store(control, std::memory_order_relaxed);
    if (m_row.Stops()) m_pSession->ClearSendQueue();  // the last word counts, and one who reads none costs nothing
    m_pSession->SendData(&control, 1, 0);
    m_keepAlive.Restart();
}

void CSourceTCP::OnChange() {
    const char control = Control();
    if (m_row.Stops() && control != m_cTold.load(std::memory_order_relaxed)) SendControl(control);
}

void CSourceTCP::TellToStop() {
    if (m_row.Stops()) SendControl(m_row.tcp.stop);
}

// Two bytes are the most that wait for one who does not read.
void CSourceTCP::RequestKeyFrame() {
    OnChange();  // whoever wants it may be the first, and this be sooner than the news of it
    if (m_pSession->GetSendQueueSize() != 0) SendControl(Control());
    m_pSession->SendData(&m_row.tcp.keyFrame, 1, 0);
    m_keepAlive.Restart();
}

bool CSourceTCP::SendUpstream(const void* data, int length) {
    if (BytesWaiting(*m_pSession) + static_cast<uint64_t>(length) > m_limits.upstreamQueueBytes) return false;
    m_pSession->SendData(static_cast<const char*>(data), length, 0);
    m_keepAlive.Restart();
    return true;
}

void CSourceTCP::OnSecond() {
    if (m_pSession->GetSendQueueSize() != 0 || !m_keepAlive.Poll()) return;
    SendControl(Control());
}

bool CSourceTCP::CloseWhenSent() {
    m_pSession->SetNotify(nullptr);
    m_pSession->CloseWhenSent();
    return true;
}

bool CSourceTCP::OnTcpSessionNotifyReceivedFrame(const char* data, int length) {
    if (data && length >= limits::kMinFrameLen) m_stream.OnSourceFrame(data, length);
    return true;
}

CSourceStatus CSourceTCP::Status() {
    return {m_peer, true, {}, m_pSession->GetSendQueueSize(), m_pSession->GetSendQueueBytes()};
}
