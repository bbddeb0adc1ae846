// A channel at the server whose subscribers say start and stop.
#pragma once

#include "server/listener.h"
#include "server/stream.h"

#include <memory>

/// TState is the inside of the medium's TChannel.
template <class TChannel, class TState>
class CStartedStream : public CStream {
public:
    CStartedStream(const char* medium, const CStreamName& name, const CServerLimits& limits)
        : CStream(medium, name, limits), m_pChannel(TState::Make(name.channelID)) {
        State().deleted = false;  // it is the stream's own
        State().hub.SetLeg(name.legID);
    }

    size_t SinkCount() override { return State().hub.SinkCount(); }
    uint32_t Wanted() override { return State().started.load(std::memory_order_relaxed); }
    void Close() override { m_pChannel->ReleaseConnections(); }

protected:
    bool SendToLeg(const void*, int) override { return false; }  // no frames go upstream
    void ForEachListener(void* context, void (*use)(void* context, const CListenerStatus& listener)) override {
        State().hub.ForEachSinkWhile([&](auto& sink) {
            use(context, DescribeListener(sink));
            return true;
        });
    }

private:
    TState& State() { return TState::Of(*m_pChannel); }

protected:
    const std::unique_ptr<TChannel> m_pChannel;
};
