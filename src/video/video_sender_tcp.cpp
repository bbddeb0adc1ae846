#include "video/video_sender_tcp.h"

#include "video/video_constants.h"

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
