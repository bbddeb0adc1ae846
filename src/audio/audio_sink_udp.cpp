#include "audio/audio_sink_udp.h"

#include "audio/audio_constants.h"

namespace {
constexpr CStreamSinkProfile kProfile{wire::Kind::Audio, wire::UDP_AUDIO_SINK_CONNECT_ACK,
                                      wire::UDP_AUDIO_SINK_START_ACK, wire::UDP_AUDIO_SINK_STOP_ACK};
}

CAudioSinkUDP::CAudioSinkUDP(CAudioChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t userID)
    : CStreamSinkUDP(kProfile, channel, ip, port, receiverID, userID) {}

void CAudioSinkUDP::OnAudioChannelData(const char* data, int length) {
    if (CAudioSink::IsStarted() && data && length >= audio::kMinDatagramFrame)
        m_udp.SendFrame(wire::UDP_AUDIO_SINK_FRAME, data, length);
}
