// The inside of an audio channel, for the audio classes and the relay server.
#pragma once

#include "link/stream_channel.h"
#include "lumomedia/audio.h"

class CAudioSink;
class CAudioReceiver;

struct CAudioChannelState : CStreamChannelState<CAudioChannel, CAudioSink, CAudioReceiver> {
    using CStreamChannelState::CStreamChannelState;

    static CAudioChannelState& Of(CAudioChannel& channel) { return *channel.m_pState; }
};
