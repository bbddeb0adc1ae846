#include "file/file_sink_tcp.h"

#include "link/limits.h"
#include "link/tcp_link.h"
#include "platform/lumobase/app_log.h"

CFileSinkTCP::CFileSinkTCP(CFileChannel& channel, ITcpSession* session) : CFileSink(channel), m_tcp(session) {}

void CFileSinkTCP::AnswerValidation() {
    m_tcp.Answer(this, ValidationMessage(wire::TcpType::FileReceiver, wire::CDatagram().U32(GetFileChannelID())));
}

void CFileSinkTCP::ReleaseConnections() {
    CFileSink::ReleaseConnections();
    m_tcp.Release();
}

void CFileSinkTCP::OnFileChannelData(const void* data, int length) {
    if (data && length >= limits::kMinFrameLen) m_tcp.Send(data, length);
}

bool CFileSinkTCP::OnTcpSessionNotifyReceivedFrame(const char* data, int length) {
    LUMO_LOG_LINE("CFileSinkTCP::OnTcpSessionNotifyReceivedFrame. nLen : %d", length);
    if (data && length >= limits::kMinFrameLen) DeliverUpstream(data, length);
    return true;
}

CSinkInfo CFileSinkTCP::Info() {
    CSinkInfo info = CFileSink::Info();
    info.ip = m_tcp.RemoteIP();
    info.port = m_tcp.RemotePort();
    info.tcp = true;
    return info;
}
