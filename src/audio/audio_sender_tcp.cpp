#include "audio/audio_sender_tcp.h"

#include "audio/audio_constants.h"

void CAudioSenderTCP::OnControl(char control) {
    if (control == audio::kStart) OnReceivedStart();
    if (control == audio::kStop) OnReceivedStop();
}

void CAudioSenderTCP::SendAudioData(const char* data, int length) {
    if (IsStarted() && m_link.SendFrame(data, length)) m_link.RestartKeepAlive();
}
