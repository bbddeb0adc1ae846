// Subscribes to a file channel at a server over TCP.
#pragma once

#include "file/file_receiver_stream.h"
#include "link/mcu_address.h"

class CFileReceiverTCP : public CFileReceiverStream {
public:
    CFileReceiverTCP(IFileReceiverNotify& notify, CFileChannel& channel);

    void OnFileChannelData(const void* data, int length) override;
    /// Dials address 0 of the chosen server. False when the peer MCU has no address or port, or no client was made.
    bool Connect(const CMcuAddress& peer, const CMcuAddress& local, const CProxy& proxy);

    void OnTcpClientNotifyConnected() override;
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;

private:
    CMcuAddress m_peerMcu;  // both set before the dial
    CMcuAddress m_localMcu;
};
