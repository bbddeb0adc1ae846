#include "audio/local_mcu_audio.h"

#include "audio/audio_sender_tcp.h"
#include "audio/audio_sender_udp.h"
#include "audio/audio_sink_udp.h"
#include "link/mcu_create.h"

#include <memory>

CLocalMCUAudio::CLocalMCUAudio() { Instances().pAudio.store(this, std::memory_order_release); }

CLocalMCUAudio::~CLocalMCUAudio() { Instances().pAudio.store(nullptr, std::memory_order_release); }

void CLocalMCUAudio::AddAudioChannel(CAudioChannel* channel) {
    m_tables.channels.Put(CAudioChannelState::Of(*channel).hub.ID(), channel);
}

void CLocalMCUAudio::ForgetAudioChannel(CAudioChannel* channel) {
    m_tables.ForgetChannel(CAudioChannelState::Of(*channel).hub.ID(), channel);
}

void CLocalMCUAudio::RemoveAllAudioChannels() {
    m_tables.channels.Sweep([](CAudioChannel&) { return true; },
                            [](CAudioChannel* channel) {
                                const bool deleted = CAudioChannelState::Of(*channel).deleted;
                                channel->ReleaseConnections();
                                if (deleted) delete channel;
                            });
}

void CLocalMCUAudio::AddAudioSink(uint32_t sinkID, CAudioSink* sink) {
    if (CAudioSinkUDP* udp = sink->AsUDP())
        m_tables.sinks.Put(sinkID, sink, udp->GetAudioChannelID(), udp->GetReceiverID());
    else
        m_tables.sinks.Put(sinkID, sink, sink->GetAudioChannelID());
}

void CLocalMCUAudio::AddAudioReceiver(CAudioReceiver* receiver) {
    m_tables.receivers.Put(receiver->GetAudioReceiverID(), receiver);
}

void CLocalMCUAudio::ReleaseConnections() {
    RemoveAllAudioSinks();
    RemoveAllAudioChannels();
}

CAudioSender* CLocalMCUAudio::CreateAudioSenderTCP(IAudioSenderNotify& notify, uint32_t channelID) {
    CLocalMCUAudio* mcu = GetLocalMCUAudio();
    if (!mcu) return nullptr;
    return MakeOnChannel<CAudioSenderTCP>(mcu->m_tables, notify, channelID, [](CAudioSink& made) { made.Join(); });
}

CAudioSender* CLocalMCUAudio::CreateAudioSenderUDP(IAudioSenderNotify& notify, uint32_t channelID) {
    CLocalMCUAudio* mcu = GetLocalMCUAudio();
    if (!mcu) return nullptr;
    auto* made =
        MakeOnChannel<CAudioSenderUDP>(mcu->m_tables, notify, channelID, [](CAudioSink& sink) { sink.Join(); });
    if (made) mcu->m_tables.senders.Put(made->GetSenderKey(), made);
    return made;
}

void CLocalMCUAudio::RemoveAudioSenderUDP(uint32_t senderKey) {
    if (CLocalMCUAudio* mcu = GetLocalMCUAudio()) mcu->m_tables.senders.Take(senderKey);
}
