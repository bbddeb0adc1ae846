// A file channel subscribed to at another server.
#pragma once

#include "file/file_receiver_tcp.h"
#include "file/file_receiver_udp.h"
#include "server/share_leg.h"

class CFileLeg : public CShareLeg<IFileReceiverNotify, IFileReceiver, CLocalMCUFile::CreateFileReceiverUDP,
                                  CLocalMCUFile::CreateFileReceiverTCP> {
public:
    using CShareLeg::CShareLeg;
    ~CFileLeg() override { Close(); }

    void OnFileReceiverNotifyData(const char* data, int length) override { OnFrame(data, length); }
    void OnFileReceiverNotifyConnected(unsigned long) override { OnAccepted(); }
};
