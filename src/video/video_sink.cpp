#include "video/video_sink.h"

#include "link/process/instances.h"
#include "video/video_channel_state.h"
#include "video/video_constants.h"

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

CVideoSinkUDP::CVideoSinkUDP(CVideoChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t userID)
    : CStreamSinkUDP(media::kVideo, channel, ip, port, receiverID, userID) {}

std::unique_ptr<CVideoSink> CVideoSinkUDP::Make(CVideoChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID,
                                                uint32_t userID) {
    auto sink = std::make_unique<CVideoSinkUDP>(channel, ip, port, receiverID, userID);
    if (!sink->m_frames.OpenLink(ip)) return nullptr;
    return sink;
}

void CVideoSinkUDP::ReleaseConnections() {
    CVideoSink::ReleaseConnections();
    m_frames.CloseLink();
}

void CVideoSinkUDP::OnVideoChannelData(char* data, int length) {
    if (CVideoSink::IsStarted()) m_frames.QueueVideo(data, length);
}

void CVideoSinkUDP::OnReceivedFrameAck(const char* data, int length) {
    m_udp.Touch();
    m_frames.OnPacket(data, length);
}

void CVideoSinkUDP::OnSCTPSessionReceivedFrame(char* data, int length) {
    if (video::AsksForKeyFrame(data, length)) WantKeyFrame();
}
