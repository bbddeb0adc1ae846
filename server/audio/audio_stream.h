// An audio channel at the server.
#pragma once

#include "audio/audio_channel_state.h"
#include "server/started_stream.h"

class CAudioStream : public CStartedStream<CAudioChannel, CAudioChannelState> {
public:
    CAudioStream(const CStreamName& name, const CServerLimits& limits);

    void Open() override;

protected:
    void SendToSinks(const void* data, int length) override;
    int MaxFrame() const override;
};
