#include "video/video_receiver_tcp.h"

#include "video/video_constants.h"

namespace {
constexpr CTcpSubscriptionProfile kProfile{wire::Kind::Video, wire::TcpType::VideoReceiver, video::kStart, video::kStop,
                                           false};
}

CVideoReceiverTCP::CVideoReceiverTCP(IVideoReceiverNotify& notify, uint32_t channelID, uint32_t userID)
    : CStreamReceiverTCP(notify, channelID, userID, kProfile) {}

void CVideoReceiverTCP::RequestKeyFrame() {
    if (m_link.SendFrame(&video::kKeyFrameWanted, 1)) m_link.RestartKeepAlive();
}
