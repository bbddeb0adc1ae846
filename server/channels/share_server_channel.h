// A share's channel at the server.
#pragma once

#include "link/share/share_channel.h"
#include "link/share/share_receiver.h"
#include "link/share/share_sink.h"
#include "server/channels/server_channel.h"
#include "server/sinks/listener.h"

/// `TChannel` is the medium's public channel and `TState` its state.
template <class TChannel, class TState>
class CShareServerChannel : public CServerChannel, public TChannel {
public:
    CShareServerChannel(const char* medium, const CServerChannelName& name, const CLiveOptions& options)
        : CServerChannel(medium, name, options), TChannel(name.channelID) {
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
        for (CShareSink& sink : State().hub.Sinks()) use(context, DescribeListener(sink));
    }

private:
    CShareChannel& State() { return TState::Of(*this); }
};
