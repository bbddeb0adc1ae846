#include "audio/audio_sender_tcp.h"

#include "audio/audio_constants.h"

CAudioSenderTCP::CAudioSenderTCP(IAudioSenderNotify& notify, CAudioChannel& channel)
    : CStreamSenderTCP(notify, channel, media::kAudio) {
    m_link.SetMaxAge(audio::kMaxWaitMs);
}

void CAudioSenderTCP::SendAudioData(const char* data, int length) {
    if (IsStarted() && m_link.SendFrame(data, length)) m_link.RestartKeepAlive();
}
