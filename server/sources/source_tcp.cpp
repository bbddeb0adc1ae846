#include "server/sources/source_tcp.h"

#include "link/bounds/limits.h"
#include "link/tcp/tcp_link.h"
#include "link/tcp/tcp_sink.h"
#include "server/channels/server_channel.h"

#include <utility>

CSourceTCP::CSourceTCP(const CMediumRow& row, CServerChannel& channel, ITcpSession* session,
                       const CServerLimits& limits, CQuotaHold connection)
    : m_row(row),
      m_channel(channel),
      m_pSession(session),
      m_limit(limits.upstreamQueueBytes),
      m_address{static_cast<uint32_t>(session->GetRemoteIP()), session->GetRemotePort()},
      m_connection(std::move(connection)),
      m_keepAlive(media::kAcceptedKeepAliveEvery) {
    session->SetKeepsPlace();
}

void CSourceTCP::AnswerValidation() {
    m_pSession->SetNotify(this);
    const wire::CWireWriter answer =
        ValidationMessage(m_row.tcp.sender, wire::CWireWriter().U32(m_channel.ChannelID()));
    m_pSession->SendData(answer.Data(), answer.Length(), 1);
    if (!m_row.Stops()) return;
    SendControl(Control());
    OnChange();  // a subscriber that started in between may have missed this publisher
}

char CSourceTCP::Control() const { return m_row.Stops() && m_channel.Wanted() == 0 ? m_row.tcp.stop : m_row.tcp.start; }

void CSourceTCP::SendControl(char control) {
    m_cTold.store(control, std::memory_order_relaxed);
    if (m_row.Stops()) m_pSession->ClearSendQueue();  // only the last byte counts, so that unread ones cost nothing
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

// At most two bytes wait for a publisher that does not read.
void CSourceTCP::RequestKeyFrame() {
    OnChange();  // the subscriber may be the first, and START must go before the request
    if (m_pSession->GetSendQueueSize() != 0) SendControl(Control());
    m_pSession->SendData(&m_row.tcp.keyFrame, 1, 0);
    m_keepAlive.Restart();
}

bool CSourceTCP::SendUpstream(const void* data, int length) {
    if (!m_limit.HasRoom(BytesWaiting(*m_pSession), length)) return false;
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
    if (data && length >= limits::kMinFrameLen) m_channel.OnSourceFrame(data, length);
    return true;
}

CSourceStatus CSourceTCP::Status() {
    CFlowStatus flow;
    flow.control = m_pSession->GetCongestionControl();
    return {m_address, true, {}, m_pSession->GetSendQueueSize(), m_pSession->GetSendQueueBytes(), flow};
}
