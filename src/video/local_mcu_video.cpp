#include "video/local_mcu_video.h"

#include "video/video_sender.h"
#include "video/video_sink.h"

namespace {

using CDispatch = CLocalMCUVideo::CDispatch;

constexpr auto kRows = StreamRows<CDispatch>(
    media::kVideo, CDispatchRow<CDispatch>{media::kVideo.sink.frameAck, &CDispatch::OnSinkFrameAck},
    CDispatchRow<CDispatch>{media::kVideo.source.frameAck, &CDispatch::OnSourceFrameAck});

}  // namespace

CLocalMCUVideo::CLocalMCUVideo() { Instances().pVideo.store(this, std::memory_order_release); }

CLocalMCUVideo::~CLocalMCUVideo() { Instances().pVideo.store(nullptr, std::memory_order_release); }

void CLocalMCUVideo::AddVideoSink(uint32_t sinkID, CVideoSink* sink) { PutSink(sinkID, *sink); }

void CLocalMCUVideo::ReleaseConnections() {
    RemoveAllVideoSinks();
    RemoveAllVideoChannels();
}

void CLocalMCUVideo::OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip,
                                                    unsigned short port) {
    Dispatch(kRows, wire::Kind::Video, data, length, ip, port);
}

CVideoSender* CLocalMCUVideo::CreateVideoSenderTCP(IVideoSenderNotify& notify, uint32_t channelID) {
    return MakeSender<CVideoSenderTCP>(GetLocalMCUVideo(), notify, channelID);
}

CVideoSender* CLocalMCUVideo::CreateVideoSenderUDP(IVideoSenderNotify& notify, uint32_t channelID) {
    return MakeSender<CVideoSenderUDP>(GetLocalMCUVideo(), notify, channelID);
}

void CLocalMCUVideo::RemoveVideoSenderUDP(uint32_t senderKey) {
    if (CLocalMCUVideo* mcu = GetLocalMCUVideo()) mcu->Tables().senders.Take(senderKey);
}

bool CLocalMCUVideo::ProcessSend() { return Tables().Pump(); }
