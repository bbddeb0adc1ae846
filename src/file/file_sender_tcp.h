// Publishes a file channel to a server over TCP.
#pragma once

#include "file/file_sender.h"
#include "link/tcp_link.h"

#include <atomic>

class CFileSenderTCP : public CFileSender, public ITcpClientNotify {
public:
    CFileSenderTCP(IFileSenderNotify& notify, CFileChannel& channel);

    void ReleaseConnections() override;
    bool IsDisconnected() override;
    uint32_t GetBufferingFrameCount() override { return m_link.QueuedFrames(); }
    void SendFileData(const void* data, int length) override { m_link.SendFrame(data, length); }
    /// Dials address 0 and only that; the others serve the test for any address at all.
    bool Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port, const CProxy& proxy);

    void OnTcpClientNotifyConnected() override;
    bool OnTcpClientNotifyValidate(unsigned long type, const char* data, int length) override;
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;

private:
    CTcpLink m_link;
    std::atomic<uint32_t> m_ulFileChannelID{0};  // as the server echoed it
};
