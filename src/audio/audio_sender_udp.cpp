#include "audio/audio_sender_udp.h"

#include "audio/audio_constants.h"
#include "audio/local_mcu_audio.h"
#include "link/callback.h"

namespace {
constexpr CUdpSourceProfile kProfile{wire::Kind::Audio, wire::UDP_AUDIO_SOURCE_CONNECT, wire::UDP_AUDIO_SOURCE_FRAME,
                                     wire::UDP_AUDIO_SOURCE_DISCONNECT, 30000};
}

CAudioSenderUDP::CAudioSenderUDP(IAudioSenderNotify& notify, CAudioChannel& channel)
    : CAudioSender(notify, channel), m_source(kProfile, CAudioSink::GetAudioSinkID()) {}

bool CAudioSenderUDP::Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port) {
    if (!m_source.SetMcu({{ip0, ip1, ip2}, port})) return false;
    m_source.SendConnect(GetAudioChannelID());
    return true;
}

void CAudioSenderUDP::SendAudioData(const char* data, int length) {
    if (IsStarted() && data && length >= audio::kMinDatagramFrame) m_source.SendFrame(data, length);
}

void CAudioSenderUDP::OnReceivedConnectACK(uint32_t sourceID, uint32_t ip, uint16_t port) {
    if (m_source.OnConnectAck(sourceID, ip, port) == ConnectAck::First) NotifyConnected(ip);
}

void CAudioSenderUDP::OnReceivedStart(uint32_t startParam) {
    CAudioSender::OnReceivedStart();
    m_source.Touch();
    m_ulStartParam.store(startParam, std::memory_order_relaxed);
    m_source.Answer(wire::UDP_AUDIO_SOURCE_START_ACK);
}

void CAudioSenderUDP::OnReceivedStop() {
    CAudioSender::OnReceivedStop();
    m_source.Touch();
    m_source.Answer(wire::UDP_AUDIO_SOURCE_STOP_ACK);
}

void CAudioSenderUDP::ReleaseConnections() {
    AssertNotInCallback();
    CLocalMCUAudio::RemoveAudioSenderUDP(GetSenderKey());
    CAudioSender::ReleaseConnections();
    m_source.SendGoodbye();
    delete this;
}
