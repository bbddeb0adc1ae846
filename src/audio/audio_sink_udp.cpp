#include "audio/audio_sink_udp.h"

#include "audio/audio_constants.h"

CAudioSinkUDP::CAudioSinkUDP(CAudioChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t userID)
    : CStreamSinkUDP(wire::kAudioCodes, channel, ip, port, receiverID, userID) {}

void CAudioSinkUDP::OnAudioChannelData(const char* data, int length) {
    if (CAudioSink::IsStarted() && data && length >= audio::kMinDatagramFrame)
        m_udp.SendFrame(wire::UDP_AUDIO_SINK_FRAME, data, length);
}
