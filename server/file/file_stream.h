// A file channel at the server.
#pragma once

#include "lumomedia/file.h"
#include "server/stream.h"

class CFileSink;

class CFileStream : public CStream, public CFileChannel {
public:
    CFileStream(uint32_t channelID, const CServerLimits& limits);

    uint32_t ChannelID() const override { return m_ulChannelID; }
    size_t SinkCount() override;
    void Open() override { CFileChannel::Connect(); }
    void Close() override { CFileChannel::ReleaseConnections(); }

    void OnFileSinkData(const void* data, int length) override { OnSinkFrame(data, length); }

protected:
    void SendToSinks(const void* data, int length) override;
    bool SendToLeg(const void* data, int length) override;
    void ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) override;

private:
    const uint32_t m_ulChannelID;
};
