#include "file/file_sender.h"

#include "link/callback.h"
#include "link/limits.h"

void CFileSender::NotifyConnected(uint32_t ip) {
    CallApplication([&] { m_pNotify->OnFileSenderNotifyConnected(ip, true); });
}

void CFileSender::OnUpstreamFrame(const char* data, int length) {
    if (data && length >= limits::kMinFrameLen) DeliverUpstream(data, length);
}
