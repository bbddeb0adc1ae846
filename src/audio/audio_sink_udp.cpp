#include "audio/audio_sink_udp.h"

#include "audio/audio_constants.h"

namespace {
constexpr int kConnectAcknowledgements = 2;  // repeated against loss
}

CAudioSinkUDP::CAudioSinkUDP(CAudioChannel& channel, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t userID)
    : CAudioSink(channel, userID), m_udp(wire::Kind::Audio, ip, port, receiverID, CAudioSink::GetAudioSinkID()) {}

void CAudioSinkUDP::OnAudioChannelData(const char* data, int length) {
    if (CAudioSink::IsStarted() && data && length >= audio::kMinDatagramFrame)
        m_udp.SendFrame(wire::UDP_AUDIO_SINK_FRAME, data, length);
}

void CAudioSinkUDP::OnReceivedConnect() {
    m_udp.Acknowledge(wire::UDP_AUDIO_SINK_CONNECT_ACK, kConnectAcknowledgements);
}

bool CAudioSinkUDP::OnReceivedStart() {
    const bool news = SetStarted(true);
    m_udp.Acknowledge(wire::UDP_AUDIO_SINK_START_ACK, 1);
    return news;
}

bool CAudioSinkUDP::OnReceivedStop() {
    const bool news = SetStarted(false);
    m_udp.Acknowledge(wire::UDP_AUDIO_SINK_STOP_ACK, 1);
    return news;
}

CSinkInfo CAudioSinkUDP::Info() {
    CSinkInfo info = CAudioSink::Info();
    info.ip = GetRemoteIP();
    info.port = GetRemotePort();
    return info;
}
