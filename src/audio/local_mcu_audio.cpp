#include "audio/local_mcu_audio.h"

#include "audio/audio_sender.h"
#include "audio/audio_sink.h"

namespace {

using CDispatch = CLocalMCUAudio::CDispatch;

constexpr auto kRows = StreamRows<CDispatch>(media::kAudio);

}  // namespace

CLocalMCUAudio::CLocalMCUAudio() { Instances().pAudio.store(this, std::memory_order_release); }

CLocalMCUAudio::~CLocalMCUAudio() { Instances().pAudio.store(nullptr, std::memory_order_release); }

void CLocalMCUAudio::AddAudioSink(uint32_t sinkID, CAudioSink* sink) { PutSink(sinkID, *sink); }

void CLocalMCUAudio::ReleaseConnections() {
    RemoveAllAudioSinks();
    RemoveAllAudioChannels();
}

void CLocalMCUAudio::OnTimer() {
    RemoveDisconnectedAudioSinks();
    if (GetServerHooks()) return;
    const auto forEach = [this](auto use) {
        for (CAudioSink& sink : Tables().sinks.Each()) {
            CAudioSinkUDP* udp = sink.AsUDP();
            if (udp && udp->IsStarted()) use(*udp);
        }
    };
    m_thinning.Begin();
    forEach([&](CAudioSinkUDP& sink) { m_thinning.Count(sink.GetRemoteIP()); });
    m_thinning.End();
    forEach([&](CAudioSinkUDP& sink) { sink.SetEvery(m_thinning.EveryAt(sink.GetRemoteIP())); });
}

void CLocalMCUAudio::OnUdpClientNotifyReceivedFrame(const char* data, int length, unsigned long ip,
                                                    unsigned short port) {
    Dispatch(kRows, wire::Kind::Audio, data, length, ip, port);
}

CAudioSender* CLocalMCUAudio::CreateAudioSenderTCP(IAudioSenderNotify& notify, uint32_t channelID) {
    return MakeSender<CAudioSenderTCP>(GetLocalMCUAudio(), notify, channelID);
}

CAudioSender* CLocalMCUAudio::CreateAudioSenderUDP(IAudioSenderNotify& notify, uint32_t channelID) {
    return MakeSender<CAudioSenderUDP>(GetLocalMCUAudio(), notify, channelID);
}

void CLocalMCUAudio::RemoveAudioSenderUDP(uint32_t senderKey) {
    if (CLocalMCUAudio* mcu = GetLocalMCUAudio()) mcu->Tables().senders.Take(senderKey);
}
