#include "file/file_receiver_stream.h"

#include "link/callback.h"
#include "link/limits.h"
#include "platform/lumobase/app_log.h"

namespace {
constexpr uint8_t kKeepAliveEvery = 12;  // idle polls
}

CFileReceiverStream::CFileReceiverStream(IFileReceiverNotify& notify, CFileChannel& channel)
    : CFileReceiver(notify, channel), m_link(kKeepAliveEvery) {}

bool CFileReceiverStream::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    LUMO_LOG_LINE("tcp-mcu. recv file data. nLen = %d", length);
    NotifyData(data, length);
    return true;
}

void CFileReceiverStream::OnFileChannelData(const void* data, int length) {
    if (!data || length < limits::kMinFrameLen) return;
    if (m_link.SendFrame(data, length)) m_link.RestartKeepAlive();
}

void CFileReceiverStream::ReleaseConnections() {
    AssertNotInCallback();
    CFileReceiver::ReleaseConnections();
    m_link.Release();
    delete this;
}
