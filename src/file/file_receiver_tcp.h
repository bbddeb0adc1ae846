// Subscribes to a file channel at a server over TCP.
#pragma once

#include "file/file_receiver.h"
#include "link/mcu_address.h"
#include "link/tcp_link.h"

class CFileReceiverTCP : public CFileReceiver, public ITcpClientNotify {
public:
    CFileReceiverTCP(IFileReceiverNotify& notify, CFileChannel& channel);

    void ReleaseConnections() override;
    bool IsDisconnected() override { return m_link.Poll() == TcpPoll::Lost; }
    void OnFileChannelData(const void* data, int length) override;
    uint32_t GetBufferingFrameCount() override { return m_link.QueuedFrames(); }
    uint64_t GetBufferedBytes() override { return m_link.QueuedBytes(); }
    /// Dials address 0 of the chosen server. False when the peer MCU has no address or port, or no client was made.
    bool Connect(const CMcuAddress& peer, const CMcuAddress& local, const CProxy& proxy);

    void OnTcpClientNotifyConnected() override;
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;

private:
    CTcpLink m_link;
    CMcuAddress m_peerMcu;  // both set before the dial
    CMcuAddress m_localMcu;
};
