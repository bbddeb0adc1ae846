// A file channel subscribed to at another server.
#pragma once

#include "file/file_receiver_tcp.h"
#include "file/file_receiver_udp.h"
#include "server/share_leg.h"

struct CFileLegParts {
    using INotify = IFileReceiverNotify;
    using IReceiver = IFileReceiver;
    using CReceiverUDP = CFileReceiverUDP;
    static constexpr bool kAsksOnce = false;
    static CFileReceiverUDP* MakeUDP(INotify& notify, uint32_t channelID) {
        return CLocalMCUFile::CreateFileReceiverUDP(notify, channelID);
    }
    static CFileReceiverTCP* MakeTCP(INotify& notify, uint32_t channelID) {
        return CLocalMCUFile::CreateFileReceiverTCP(notify, channelID);
    }
};

class CFileLeg : public CShareLeg<CFileLegParts> {
public:
    using CShareLeg::CShareLeg;
    ~CFileLeg() override { Close(); }

    void OnFileReceiverNotifyData(const char* data, int length) override { OnFrame(data, length); }
    void OnFileReceiverNotifyConnected(unsigned long) override { OnAccepted(); }
};
