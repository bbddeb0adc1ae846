#include "audio/audio_sender.h"

#include "audio/audio_constants.h"
#include "audio/local_mcu_audio.h"

CAudioSenderUDP::CAudioSenderUDP(IAudioSenderNotify& notify, CAudioChannel& channel)
    : CStreamSenderUDP(notify, channel, media::kAudio) {}

bool CAudioSenderUDP::Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port) {
    m_entry.Enter(*this);
    return CStreamSenderUDP::Connect(ip0, ip1, ip2, port);
}

void CAudioSenderUDP::FillStatistics(LumoLinkStatistics& statistics) {
    statistics = LumoLinkStatistics();
    m_source.Describe(statistics);
}

void CAudioSenderUDP::SendAudioData(const char* data, int length) {
    if (IsStarted() && data && length >= audio::kMinDatagramFrame) m_source.SendFrame(data, length);
}

void CAudioSenderUDP::ReleaseConnections() {
    if (RefusesRelease("A sender of channel", GetAudioChannelID())) return;
    m_entry.Leave();
    CLocalMCUAudio::RemoveAudioSenderUDP(GetSenderKey());
    CAudioSender::ReleaseConnections();
    m_source.SendGoodbye();
    delete this;
}

CAudioSenderTCP::CAudioSenderTCP(IAudioSenderNotify& notify, CAudioChannel& channel)
    : CStreamSenderTCP(notify, channel, media::kAudio) {
    m_link.SetMaxAge(audio::kMaxWaitMs);
}

void CAudioSenderTCP::SendAudioData(const char* data, int length) {
    if (IsStarted() && m_link.SendFrame(data, length)) m_link.RestartKeepAlive();
}
