// A channel at the server whose subscribers say start and stop.
#pragma once

#include "server/listener.h"
#include "server/stream.h"

/// TState is the inside of the medium's TChannel.
template <class TChannel, class TState>
class CStartedStream : public CStream {
public:
    CStartedStream(const char* medium, uint32_t channelID, const CServerLimits& limits)
        : CStream(medium, limits), m_ulChannelID(channelID), m_channel(channelID) {
        State().deleted = false;  // it is the stream's own
    }

    uint32_t ChannelID() const override { return m_ulChannelID; }
    size_t SinkCount() override { return State().hub.SinkCount(); }
    uint32_t Wanted() override { return State().started.load(std::memory_order_relaxed); }
    void Open() override {}  // such a channel registers itself
    void Close() override { m_channel.ReleaseConnections(); }

protected:
    bool SendToLeg(const void*, int) override { return false; }  // no frames go upstream
    void ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) override {
        State().hub.ForEachSinkWhile([&](auto& sink) {
            use(context, DescribeListener(sink));
            return true;
        });
    }

private:
    TState& State() { return TState::Of(m_channel); }

    const uint32_t m_ulChannelID;

protected:
    TChannel m_channel;
};
