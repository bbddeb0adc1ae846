// An audio or video channel at the server, whose subscribers start and stop the stream.
#pragma once

#include "server/channels/server_channel.h"
#include "server/sinks/listener.h"

#include <memory>

/// TState is the state of the medium's TChannel.
template <class TChannel, class TState>
class CStreamServerChannel : public CServerChannel {
public:
    CStreamServerChannel(const char* medium, const CServerChannelName& name, const CLiveOptions& options)
        : CServerChannel(medium, name, options), m_pChannel(TState::Make(name.channelID)) {
        State().deleted = false;  // this object owns it
        State().hub.SetLeg(name.legID);
    }

    size_t SinkCount() override { return State().hub.SinkCount(); }
    uint32_t Wanted() override { return State().started.load(std::memory_order_relaxed); }
    void Close() override { m_pChannel->ReleaseConnections(); }

protected:
    bool SendToLeg(const void*, int) override { return false; }  // audio and video have no upstream frames
    void ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) override {
        for (auto& sink : State().hub.Sinks()) use(context, DescribeListener(sink));
    }

private:
    TState& State() { return TState::Of(*m_pChannel); }

protected:
    const std::unique_ptr<TChannel> m_pChannel;
};
