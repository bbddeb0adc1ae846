#include "server/video/video_sink_tcp.h"

#include "video/video_constants.h"

CVideoSinkTCP::CVideoSinkTCP(CVideoChannel& channel, ITcpSession* session, uint32_t userID)
    : CStreamSinkTCP(media::kVideo, channel, session, userID) {
    m_tcp.SetPatience(video::kPatienceMs);
}

void CVideoSinkTCP::OnVideoChannelData(char* data, int length) {
    if (!IsStarted() || !data || length < video::kMinFrame) return;
    if (video::IsKeyFrame(data)) m_tcp.DropQueue();
    m_tcp.Send(data, length);
}

void CVideoSinkTCP::OnControl(char control) {
    if (control == m_row.tcp.keyFrame) return WantKeyFrame();
    CStreamSinkTCP::OnControl(control);
}
