// A share's channel at the server.
#pragma once

#include "link/share_channel.h"
#include "link/share_receiver.h"
#include "link/share_sink.h"
#include "server/listener.h"
#include "server/stream.h"

/// `TChannel` is the medium's public channel and `TState` its inside.
template <class TChannel, class TState>
class CShareStream : public CStream, public TChannel {
public:
    CShareStream(const char* medium, const CStreamName& name, const CServerLimits& limits)
        : CStream(medium, name, limits), TChannel(name.channelID) {
        State().hub.SetLeg(name.legID);
    }

    size_t SinkCount() override { return State().hub.SinkCount(); }

protected:
    void SendToSinks(const void* data, int length) override { State().SendToSinks(data, length); }
    bool SendToLeg(const void* data, int length) override {
        bool sent = false;
        State().hub.WithReceiver([&](CShareReceiver& receiver) {
            sent = receiver.GetBufferedBytes() + static_cast<uint64_t>(length) <= Limits().upstreamQueueBytes;
            if (sent) receiver.OnChannelData(data, length);
        });
        return sent;
    }
    void ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) override {
        State().hub.ForEachSinkWhile([&](CShareSink& sink) {
            use(context, DescribeListener(sink));
            return true;
        });
    }

private:
    CShareChannel& State() { return TState::Of(*this); }
};
