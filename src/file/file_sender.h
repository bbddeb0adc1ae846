// The common base of the file senders: a sink of the channel that forwards to a server.
#pragma once

#include "file/file_sink.h"

/// Its IFileSender operations are the sink's of the same names.
class CFileSender : public CFileSink, public IFileSender {
public:
    CFileSender(IFileSenderNotify& notify, CFileChannel& channel) : CFileSink(channel), m_pNotify(&notify) {}

    void ReleaseConnections() override { CFileSink::ReleaseConnections(); }
    bool IsDisconnected() override = 0;
    void OnFileChannelData(const void* data, int length) override { SendFileData(data, length); }
    virtual void SendFileData(const void* data, int length) = 0;

protected:
    void NotifyConnected(uint32_t ip);
    /// Upstream frames of 2 bytes or more go to the channel's owner.
    void OnUpstreamFrame(const char* data, int length);

    IFileSenderNotify* const m_pNotify;  // the application's; outlives the sender
};
