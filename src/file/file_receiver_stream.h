// What the file receivers that speak TCP share: all but whom they dial.
#pragma once

#include "file/file_receiver.h"
#include "link/tcp_link.h"

class CFileReceiverStream : public CFileReceiver, public ITcpClientNotify {
public:
    void ReleaseConnections() override;
    bool IsDisconnected() override { return m_link.Poll() == TcpPoll::Lost; }
    /// A frame of 2 bytes or more goes upstream.
    void OnFileChannelData(const void* data, int length) override;
    uint32_t GetBufferingFrameCount() override { return m_link.QueuedFrames(); }
    uint64_t GetBufferedBytes() override { return m_link.QueuedBytes(); }
    bool OnTcpClientNotifyReceivedFrame(const char* data, int length) override;

protected:
    CFileReceiverStream(IFileReceiverNotify& notify, CFileChannel& channel);

    CTcpLink m_link;
};
