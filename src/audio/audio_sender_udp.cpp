#include "audio/audio_sender_udp.h"

#include "audio/audio_constants.h"
#include "audio/local_mcu_audio.h"

CAudioSenderUDP::CAudioSenderUDP(IAudioSenderNotify& notify, CAudioChannel& channel)
    : CStreamSenderUDP(notify, channel, wire::kAudioCodes) {}

void CAudioSenderUDP::SendAudioData(const char* data, int length) {
    if (IsStarted() && data && length >= audio::kMinDatagramFrame) m_source.SendFrame(data, length);
}

void CAudioSenderUDP::ReleaseConnections() {
    if (RefusesRelease("A sender of channel", Info().channelID)) return;
    CLocalMCUAudio::RemoveAudioSenderUDP(GetSenderKey());
    CAudioSender::ReleaseConnections();
    m_source.SendGoodbye();
    delete this;
}
