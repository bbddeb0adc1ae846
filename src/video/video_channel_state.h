// The inside of a video channel, for the video classes and the relay server.
#pragma once

#include "link/channel_hub.h"
#include "lumomedia/video.h"

#include <atomic>
#include <cstdint>

class CVideoSink;
class CVideoReceiver;

struct CVideoChannelState {
    explicit CVideoChannelState(uint32_t channelID) : hub(channelID) {}

    static CVideoChannelState& Of(CVideoChannel& channel) { return *channel.m_pState; }

    CChannelHub<CVideoSink, CVideoReceiver> hub;
    std::atomic<bool> deleted{true};   // with the local MCU, if it is still registered then
    std::atomic<uint32_t> started{0};  // subscribers among the sinks that want frames
};
