#include "video/local_mcu_video.h"

#include "link/mcu_create.h"
#include "video/video_sender_tcp.h"
#include "video/video_sender_udp.h"
#include "video/video_sink_udp.h"

#include <memory>

CLocalMCUVideo::CLocalMCUVideo() { Instances().pVideo.store(this, std::memory_order_release); }

CLocalMCUVideo::~CLocalMCUVideo() { Instances().pVideo.store(nullptr, std::memory_order_release); }

void CLocalMCUVideo::AddVideoChannel(CVideoChannel* channel) {
    m_tables.channels.Put(CVideoChannelState::Of(*channel).hub.ID(), channel);
}

void CLocalMCUVideo::ForgetVideoChannel(CVideoChannel* channel) {
    m_tables.ForgetChannel(CVideoChannelState::Of(*channel).hub.ID(), channel);
}

void CLocalMCUVideo::RemoveAllVideoChannels() {
    m_tables.channels.Sweep([](CVideoChannel&) { return true; },
                            [](CVideoChannel* channel) {
                                const bool deleted = CVideoChannelState::Of(*channel).deleted;
                                channel->ReleaseConnections();
                                if (deleted) delete channel;
                            });
}

void CLocalMCUVideo::AddVideoSink(uint32_t sinkID, CVideoSink* sink) {
    if (CVideoSinkUDP* udp = sink->AsUDP())
        m_tables.sinks.Put(sinkID, sink, udp->GetVideoChannelID(), udp->GetReceiverID());
    else
        m_tables.sinks.Put(sinkID, sink, sink->GetVideoChannelID());
}

void CLocalMCUVideo::AddVideoReceiver(CVideoReceiver* receiver) {
    m_tables.receivers.Put(receiver->GetVideoReceiverID(), receiver);
}

void CLocalMCUVideo::ReleaseConnections() {
    RemoveAllVideoSinks();
    RemoveAllVideoChannels();
}

CVideoSender* CLocalMCUVideo::CreateVideoSenderTCP(IVideoSenderNotify& notify, uint32_t channelID) {
    CLocalMCUVideo* mcu = GetLocalMCUVideo();
    if (!mcu) return nullptr;
    return MakeOnChannel<CVideoSenderTCP>(mcu->m_tables, notify, channelID, [](CVideoSink& made) { made.Join(); });
}

CVideoSender* CLocalMCUVideo::CreateVideoSenderUDP(IVideoSenderNotify& notify, uint32_t channelID) {
    CLocalMCUVideo* mcu = GetLocalMCUVideo();
    if (!mcu) return nullptr;
    auto* made =
        MakeOnChannel<CVideoSenderUDP>(mcu->m_tables, notify, channelID, [](CVideoSink& sink) { sink.Join(); });
    if (made) mcu->m_tables.senders.Put(made->GetSenderKey(), made);
    return made;
}

void CLocalMCUVideo::RemoveVideoSenderUDP(uint32_t senderKey) {
    if (CLocalMCUVideo* mcu = GetLocalMCUVideo()) mcu->m_tables.senders.Take(senderKey);
}

bool CLocalMCUVideo::ProcessSend() { return m_tables.Pump(); }
