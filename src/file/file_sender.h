// The common base of the file senders: a sink of the channel that forwards to a server.
#pragma once

#include "file/file_sink.h"
#include "file/local_mcu_file.h"
#include "link/callback.h"

/// Its IFileSender operations are the sink's of the same names.
class CFileSender : public CFileSink, public IFileSender {
public:
    CFileSender(IFileSenderNotify& notify, CShareChannel& channel) : CFileSink(channel), m_pNotify(&notify) {}

    void ReleaseConnections() override { CFileSink::ReleaseConnections(); }
    bool IsDisconnected() override = 0;

protected:
    void NotifyConnected(uint32_t ip) {
        CallApplication([&] { m_pNotify->OnFileSenderNotifyConnected(ip, true); });
    }
    static void LeaveMcu(uint32_t senderKey) {
        if (CLocalMCUFile* mcu = GetLocalMCUFile()) mcu->RemoveFileSenderUDP(senderKey);
    }

private:
    IFileSenderNotify* const m_pNotify;  // the application's; outlives the sender
};
