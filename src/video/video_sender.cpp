#include "video/video_sender.h"

#include "video/local_mcu_video.h"
#include "video/video_constants.h"

CVideoSenderUDP::CVideoSenderUDP(IVideoSenderNotify& notify, CVideoChannel& channel)
    : CStreamSenderUDP(notify, channel, media::kVideo) {}

bool CVideoSenderUDP::Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port) {
    return m_bSessionOpen && CStreamSenderUDP::Connect(ip0, ip1, ip2, port);
}

void CVideoSenderUDP::SendVideoData(char* data, int length) {
    if (IsStarted()) m_frames.QueueVideo(data, length);
}

void CVideoSenderUDP::OnReceivedFrameAck(const char* data, int length) {
    m_source.Touch();
    m_frames.OnPacket(data, length);
}

void CVideoSenderUDP::OnSCTPSessionReceivedFrame(char* data, int length) {
    if (video::AsksForKeyFrame(data, length)) NotifyKeyFrameRequest();
}

void CVideoSenderUDP::ReleaseConnections() {
    if (RefusesRelease("A sender of channel", GetVideoChannelID())) return;
    CLocalMCUVideo::RemoveVideoSenderUDP(GetSenderKey());
    CVideoSender::ReleaseConnections();
    m_source.SendGoodbye();
    m_frames.CloseLink();
    delete this;
}

void CVideoSenderTCP::OnControl(char control) {
    CStreamSenderTCP::OnControl(control);
    if (control == m_medium.tcp.keyFrame) NotifyKeyFrameRequest();
}

void CVideoSenderTCP::SendVideoData(char* data, int length) {
    if (!IsStarted() || !data || length < video::kMinFrame) return;
    data[1] = static_cast<char>(m_usSequence >> 8);
    data[2] = static_cast<char>(m_usSequence & 0xff);
    ++m_usSequence;
    if (video::IsKeyFrame(data)) m_link.ClearQueue();
    if (m_link.SendFrame(data, length)) m_link.RestartKeepAlive();
}
