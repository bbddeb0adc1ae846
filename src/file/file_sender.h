// The common base of the file senders: a sink of the channel that forwards to a server.
#pragma once

#include "file/file_sink.h"
#include "file/local_mcu_file.h"
#include "link/callback.h"

class CFileSender : public CShareSenderOf<CFileSink, IFileSender, IFileSenderNotify> {
public:
    using CShareSenderOf::CShareSenderOf;

protected:
    void NotifyConnected(uint32_t ip) {
        CallApplication([&] { m_pNotify->OnFileSenderNotifyConnected(ip, true); });
    }
    static void LeaveMcu(uint32_t senderKey) {
        if (CLocalMCUFile* mcu = GetLocalMCUFile()) mcu->RemoveFileSenderUDP(senderKey);
    }
};
