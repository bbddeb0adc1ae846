#include "video/video_sink.h"

#include "link/instances.h"
#include "video/video_channel_state.h"

CVideoSink::CVideoSink(CVideoChannel& channel, uint32_t userID)
    : CStreamSink(CVideoChannelState::Of(channel).started, userID), m_pVideoChannel(&channel) {}

void CVideoSink::ReleaseConnections() {
    SetStarted(false);
    m_pVideoChannel->RemoveVideoSink(GetVideoSinkID());
}

void CVideoSink::WantKeyFrame() {
    m_bKeyFrameRequest.store(true, std::memory_order_relaxed);
    if (IServerHooks* hooks = GetServerHooks()) hooks->OnKeyFrameWanted(wire::Kind::Video, Info().channel);
}

CSinkInfo CVideoSink::Info() {
    const ChannelKey key = CVideoChannelState::Of(*m_pVideoChannel).hub.Key();
    return {wire::Kind::Video, GetVideoSinkID(), key, 0, 0, false, GetFrameLink()};
}
