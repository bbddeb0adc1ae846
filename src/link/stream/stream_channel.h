// The state of an audio or video channel, and what it asks its sinks.
#pragma once

#include "link/tables/channel_hub.h"

#include <atomic>
#include <cstdint>

/// A medium derives from it and adds the way to it from the application's channel.
template <class TChannel, class TSink, class TReceiver>
struct CStreamChannelState {
    using CChannel = TChannel;
    using CSink = TSink;
    using CReceiver = TReceiver;

    explicit CStreamChannelState(uint32_t channelID) : hub(channelID) {}

    CChannelHub<TSink, TReceiver> hub;
    std::atomic<bool> deleted{true};   // with the local MCU, if it is still registered then
    std::atomic<uint32_t> started{0};  // subscribers among the sinks that want frames
};

template <class TSink, class TReceiver>
bool HasStartedSink(CChannelHub<TSink, TReceiver>& hub) {
    for (TSink& sink : hub.Sinks())
        if (sink.IsStarted()) return true;
    return false;
}

/// The fewest frames waiting at a sink that wants frames; 0 when none does.
template <class TSink, class TReceiver>
uint32_t LeastBufferedStarted(CChannelHub<TSink, TReceiver>& hub) {
    CLeastBuffered least;
    for (TSink& sink : hub.Sinks())
        if (sink.IsStarted() && !least.Ask(static_cast<uint32_t>(sink.GetBufferingFrameCount()))) break;
    return least.Result();
}
