// The inside of a video channel, for the video classes and the relay server.
#pragma once

#include "link/stream_channel.h"
#include "lumomedia/video.h"

class CVideoSink;
class CVideoReceiver;

struct CVideoChannelState : CStreamChannelState<CVideoChannel, CVideoSink, CVideoReceiver> {
    using CStreamChannelState::CStreamChannelState;

    static CVideoChannelState& Of(CVideoChannel& channel) { return *channel.m_pState; }
};
