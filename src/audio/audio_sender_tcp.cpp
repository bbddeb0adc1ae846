#include "audio/audio_sender_tcp.h"

#include "audio/audio_constants.h"
#include "link/callback.h"
#include "link/mcu_address.h"

namespace {
constexpr uint8_t kKeepAliveEvery = 11;  // idle polls
}

CAudioSenderTCP::CAudioSenderTCP(IAudioSenderNotify& notify, CAudioChannel& channel)
    : CAudioSender(notify, channel), m_link(kKeepAliveEvery) {}

bool CAudioSenderTCP::Connect(uint32_t ip0, uint32_t ip1, uint32_t ip2, uint16_t port, const CProxy& proxy) {
    if (CMcuAddress{{ip0, ip1, ip2}, port}.IsEmpty() || port == 0) return false;
    return m_link.Dial(this, ip0, port, proxy);
}

void CAudioSenderTCP::OnTcpClientNotifyConnected() {
    m_link.Settle();
    m_link.SendValidation(ValidationMessage(wire::TcpType::AudioSender, wire::CDatagram().U32(GetAudioChannelID())));
}

bool CAudioSenderTCP::OnTcpClientNotifyValidate(unsigned long /*type*/, const char* data, int length) {
    m_link.Settle();
    uint32_t channelID = 0;
    if (!ReadChannelAnswer(data, length, channelID) || channelID != GetAudioChannelID()) return false;
    NotifyConnected(m_link.RemoteIP());
    return true;
}

bool CAudioSenderTCP::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    if (!data || length != 1) return true;
    if (data[0] == audio::kStart) OnReceivedStart();
    if (data[0] == audio::kStop) OnReceivedStop();
    return true;
}

void CAudioSenderTCP::SendAudioData(const char* data, int length) {
    if (IsStarted() && m_link.SendFrame(data, length)) m_link.RestartKeepAlive();
}

void CAudioSenderTCP::ReleaseConnections() {
    AssertNotInCallback();
    CAudioSender::ReleaseConnections();
    m_link.Release();
    delete this;
}
