#include "audio/audio_sender_tcp.h"

#include "audio/audio_constants.h"

CAudioSenderTCP::CAudioSenderTCP(IAudioSenderNotify& notify, CAudioChannel& channel)
    : CStreamSenderTCP(notify, channel, wire::Kind::Audio, wire::TcpType::AudioSender) {
    m_link.SetMaxAge(audio::kMaxWaitMs);
}

void CAudioSenderTCP::OnControl(char control) {
    if (control == audio::kStart) OnReceivedStart();
    if (control == audio::kStop) OnReceivedStop();
}

void CAudioSenderTCP::SendAudioData(const char* data, int length) {
    if (IsStarted() && m_link.SendFrame(data, length)) m_link.RestartKeepAlive();
}
