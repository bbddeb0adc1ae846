#include "whiteboard/wb_session_server_tcp.h"

#include "link/tcp_link.h"
#include "whiteboard/wb_message.h"

void CWBSessionServerTCP::AnswerValidation() {
    const wire::CDatagram channel = wire::CDatagram().U32(static_cast<uint32_t>(GetWBChannelID()));
    m_tcp.Answer(this, ValidationMessage(wire::TcpType::Whiteboard, channel));
}

void CWBSessionServerTCP::LeaveWBChannel() {
    CWBSession::LeaveWBChannel();
    m_tcp.Release();
}

void CWBSessionServerTCP::SendWBSessionData(const char* data, int len) {
    if (data && len >= wb::kMinTcpFrame) m_tcp.Send(data, len);
}

bool CWBSessionServerTCP::OnTcpSessionNotifyReceivedFrame(const char* data, int length) {
    if (data && length >= wb::kMinTcpFrame) OnClientMessage(data, length);
    return true;
}
