#include "server/video/video_leg.h"

#include "server/video/video_stream.h"

CVideoLeg::CVideoLeg(CVideoStream& stream, const CMcuAddress& far, bool tcp, std::atomic<bool>& news)
    : CStreamLeg(stream, far, tcp, news), m_video(stream) {}

bool CVideoLeg::Open() {
    if (!CStreamLeg::Open()) return false;
    m_video.SetLeg(this);
    return true;
}

void CVideoLeg::Close() {
    m_video.SetLeg(nullptr);
    CStreamLeg::Close();
}

void CVideoLeg::RequestKeyFrame() {
    if (m_pReceiver && IsUp()) m_pReceiver->RequestKeyFrame();
}
