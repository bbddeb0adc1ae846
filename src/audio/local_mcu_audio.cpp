#include "audio/local_mcu_audio.h"

#include "audio/audio_sender_tcp.h"
#include "audio/audio_sender_udp.h"
#include "audio/audio_sink_udp.h"

namespace {

using CDispatch = CLocalMCUAudio::CDispatch;

constexpr auto kRows = StreamRows<CDispatch>(wire::kAudioCodes);

}  // namespace

CLocalMCUAudio::CLocalMCUAudio() { Instances().pAudio.store(this, std::memory_order_release); }

CLocalMCUAudio::~CLocalMCUAudio() { Instances().pAudio.store(nullptr, std::memory_order_release); }

void CLocalMCUAudio::AddAudioSink(uint32_t sinkID, CAudioSink* sink) { PutSink(sinkID, *sink); }

void CLocalMCUAudio::ReleaseConnections() {
    RemoveAllAudioSinks();
    RemoveAllAudioChannels();
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
