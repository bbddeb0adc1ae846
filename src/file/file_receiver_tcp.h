// Subscribes to a file channel at a server over TCP.
#pragma once

#include "file/file_receiver.h"
#include "link/share_receiver_tcp.h"

class CFileReceiverTCP : public CShareReceiverTCP<CFileReceiver> {
public:
    using CShareReceiverTCP::CShareReceiverTCP;

    void OnChannelData(const void* data, int length) override;
    void OnTcpClientNotifyConnected() override;
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;
};
