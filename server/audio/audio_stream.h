// An audio channel at the server.
#pragma once

#include "lumomedia/audio.h"
#include "server/stream.h"

class CAudioStream : public CStream {
public:
    CAudioStream(uint32_t channelID, const CServerLimits& limits);

    uint32_t ChannelID() const override { return m_ulChannelID; }
    size_t SinkCount() override;
    uint32_t Wanted() override;
    void Open() override {}  // an audio channel registers itself
    void Close() override { m_channel.ReleaseConnections(); }

protected:
    void SendToSinks(const void* data, int length) override;
    int MaxFrame() const override;
    bool SendToLeg(const void*, int) override { return false; }  // nothing goes upstream
    void ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) override;

private:
    const uint32_t m_ulChannelID;
    CAudioChannel m_channel;
};
