// The inside of a video channel, for the video classes and the relay server.
#pragma once

#include "link/stream/stream_channel.h"
#include "lumomedia/video.h"

#include <memory>

class CVideoSink;
class CVideoReceiver;

struct CVideoChannelState : CStreamChannelState<CVideoChannel, CVideoSink, CVideoReceiver> {
    using CStreamChannelState::CStreamChannelState;

    static CVideoChannelState& Of(CVideoChannel& channel) { return *channel.m_pState; }
    /// A channel that is not registered: what is a relay server's own.
    static std::unique_ptr<CVideoChannel> Make(uint32_t channelID) {
        return std::unique_ptr<CVideoChannel>(new CVideoChannel(*new CVideoChannelState(channelID)));
    }
};
