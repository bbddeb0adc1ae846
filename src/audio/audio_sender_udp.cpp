#include "audio/audio_sender_udp.h"

#include "audio/audio_constants.h"
#include "audio/local_mcu_audio.h"

namespace {
constexpr CStreamSourceProfile kProfile{{wire::Kind::Audio, wire::UDP_AUDIO_SOURCE_CONNECT,
                                         wire::UDP_AUDIO_SOURCE_FRAME, wire::UDP_AUDIO_SOURCE_DISCONNECT, 30000},
                                        wire::UDP_AUDIO_SOURCE_START_ACK,
                                        wire::UDP_AUDIO_SOURCE_STOP_ACK};
}

CAudioSenderUDP::CAudioSenderUDP(IAudioSenderNotify& notify, CAudioChannel& channel)
    : CStreamSenderUDP(notify, channel, kProfile) {}

void CAudioSenderUDP::SendAudioData(const char* data, int length) {
    if (IsStarted() && data && length >= audio::kMinDatagramFrame) m_source.SendFrame(data, length);
}

void CAudioSenderUDP::ReleaseConnections() {
    AssertNotInCallback();
    CLocalMCUAudio::RemoveAudioSenderUDP(GetSenderKey());
    CAudioSender::ReleaseConnections();
    m_source.SendGoodbye();
    delete this;
}
