#include "video/video_receiver_tcp.h"

CVideoReceiverTCP::CVideoReceiverTCP(IVideoReceiverNotify& notify, uint32_t channelID, uint32_t userID)
    : CStreamReceiverTCP(notify, channelID, userID, media::kVideo) {}

void CVideoReceiverTCP::RequestKeyFrame() {
    if (m_link.SendFrame(&media::kVideo.tcp.keyFrame, 1)) m_link.RestartKeepAlive();
}
