#include "file/file_receiver.h"

#include "link/callback.h"
#include "link/limits.h"

void CFileReceiver::ReleaseConnections() { m_pFileChannel->DetachFileReceiver(this); }

bool CFileReceiver::NotifyConnected(uint32_t ip) {
    return CallApplication([&] { m_pNotify->OnFileReceiverNotifyConnected(ip); });
}

void CFileReceiver::NotifyData(const char* data, int length) {
    if (data && length >= limits::kMinFrameLen)
        CallApplication([&] { m_pNotify->OnFileReceiverNotifyData(data, length); });
}
