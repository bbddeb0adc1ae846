#include "video/video_receiver.h"

#include "video/local_mcu_video.h"
#include "video/video_constants.h"

bool CVideoReceiverDatagrams::Enter() {
    if (!m_frames.OpenLink()) return false;
    if (CLocalMCUVideo* mcu = GetLocalMCUVideo()) mcu->AddVideoReceiver(this);
    return true;
}

void CVideoReceiverDatagrams::OnReceivedFrame(uint32_t sinkID, const char* data, int length, uint32_t ip,
                                              uint16_t port) {
    if (m_subscriberLink.Accepts(sinkID, ip, port)) m_frames.OnPacket(data, length);
}

// With a whole window of questions unanswered, one more would only grow the queue behind it.
void CVideoReceiverDatagrams::RequestKeyFrame() {
    char request = video::kSessionKeyFrameWanted;
    CSession& session = m_frames.Session();
    if (!session.HasUncut()) session.SendFrame(&request, 1);
    session.ProcessSend();
}

void CVideoReceiverDatagrams::AdjustWindowSize(bool bIncrease) {
    CSession& session = m_frames.Session();
    const int size = session.GetWindowSize();
    session.SetWindowSize(static_cast<unsigned char>(bIncrease ? size * 5 / 4 : size / 2));
}

void CVideoReceiverDatagrams::ReleaseConnections() {
    if (RefusesRelease("A receiver of channel", m_ulChannelID)) return;
    SendDisconnect();
    if (CLocalMCUVideo* mcu = GetLocalMCUVideo()) mcu->RemoveVideoReceiver(ReceiverID());
    m_frames.CloseLink();
    delete this;
}

CVideoReceiverTCP::CVideoReceiverTCP(IVideoReceiverNotify& notify, uint32_t channelID, uint32_t userID)
    : CStreamReceiverTCP(notify, channelID, userID, media::kVideo) {}

void CVideoReceiverTCP::RequestKeyFrame() {
    if (m_link.SendFrame(&media::kVideo.tcp.keyFrame, 1)) m_link.RestartKeepAlive();
}
