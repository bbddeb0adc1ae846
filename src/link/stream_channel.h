// What a channel of a stream that starts and stops asks its sinks.
#pragma once

#include "link/channel_hub.h"

template <class TSink, class TReceiver>
bool HasStartedSink(CChannelHub<TSink, TReceiver>& hub) {
    bool started = false;
    hub.ForEachSinkWhile([&](TSink& sink) { return !(started = sink.IsStarted()); });
    return started;
}

/// The fewest frames waiting at one of those that want frames; 0 when none does.
template <class TSink, class TReceiver>
uint32_t LeastBufferedStarted(CChannelHub<TSink, TReceiver>& hub) {
    CLeastBuffered least;
    hub.ForEachSinkWhile([&](TSink& sink) {
        return !sink.IsStarted() || least.Ask(static_cast<uint32_t>(sink.GetBufferingFrameCount()));
    });
    return least.Result();
}
