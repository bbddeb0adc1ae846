// The inside of an audio channel, for the audio classes and the relay server.
#pragma once

#include "link/channel_hub.h"
#include "lumomedia/audio.h"

#include <atomic>
#include <cstdint>

class CAudioSink;
class CAudioReceiver;

struct CAudioChannelState {
    explicit CAudioChannelState(uint32_t channelID) : hub(channelID) {}

    static CAudioChannelState& Of(CAudioChannel& channel) { return *channel.m_pState; }

    CChannelHub<CAudioSink, CAudioReceiver> hub;
    std::atomic<bool> deleted{true};   // with the local MCU, if it is still registered then
    std::atomic<uint32_t> started{0};  // subscribers among the sinks that want frames
};
