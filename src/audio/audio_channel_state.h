// The inside of an audio channel, for the audio classes and the relay server.
#pragma once

#include "link/stream/stream_channel.h"
#include "lumomedia/audio.h"

#include <memory>

class CAudioSink;
class CAudioReceiver;

struct CAudioChannelState : CStreamChannelState<CAudioChannel, CAudioSink, CAudioReceiver> {
    using CStreamChannelState::CStreamChannelState;

    static CAudioChannelState& Of(CAudioChannel& channel) { return *channel.m_pState; }
    /// A channel that is not registered: what is a relay server's own.
    static std::unique_ptr<CAudioChannel> Make(uint32_t channelID) {
        return std::unique_ptr<CAudioChannel>(new CAudioChannel(*new CAudioChannelState(channelID)));
    }
};
