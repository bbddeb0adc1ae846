#include "audio/audio_receiver_tcp.h"

#include "audio/audio_constants.h"
#include "link/callback.h"

using wire::CDatagram;

namespace {
constexpr uint8_t kKeepAliveEvery = 12;  // idle polls
constexpr int kAnswerLength = 8;         // channel ID, sink ID
}  // namespace

CAudioReceiverTCP::CAudioReceiverTCP(IAudioReceiverNotify& notify, uint32_t channelID, uint32_t userID)
    : CAudioReceiver(notify, channelID, userID), m_link(kKeepAliveEvery) {}

bool CAudioReceiverTCP::Connect(const CMcuAddress& peer, const CMcuAddress& local, const CProxy& proxy) {
    if (peer.IsEmpty() || peer.port == 0) return false;
    m_peerMcu = peer;
    m_localMcu = local;
    const CMcuAddress& mcu = ChoosePeerMcu(peer, local, false) ? m_peerMcu : m_localMcu;
    return m_link.Dial(this, mcu.ips[0], mcu.port, proxy);
}

void CAudioReceiverTCP::OnTcpClientNotifyConnected() {
    m_link.Settle();
    const bool peer = ChoosePeerMcu(m_peerMcu, m_localMcu, false);
    CDatagram payload;
    payload.U32(GetAudioChannelID());
    for (uint32_t ip : m_peerMcu.ips) payload.U32(peer ? 0 : ip);  // zeros: nothing to relay
    payload.U16(peer ? uint16_t{0} : m_peerMcu.port).U32(m_ulUserID);
    m_link.SendValidation(ValidationMessage(wire::TcpType::AudioReceiver, payload));
}

bool CAudioReceiverTCP::OnTcpClientNotifyValidate(unsigned long /*type*/, const char* data, int length) {
    m_link.Settle();
    if (!data || length != kAnswerLength) return false;
    wire::CWireReader answer(data, length);
    if (answer.U32() != GetAudioChannelID()) return false;
    m_ulSinkID.store(answer.U32(), std::memory_order_relaxed);
    NotifyConnected(m_link.RemoteIP());
    SendControl();
    return true;
}

bool CAudioReceiverTCP::OnTcpClientNotifyReceivedFrame(const char* data, int length) {
    if (data && length >= audio::kMinDelivered) NotifyData(data, length);
    return true;
}

void CAudioReceiverTCP::SetEnable(bool bEnable) {
    m_bEnable.store(bEnable, std::memory_order_relaxed);
    SendControl();
}

// The last word is what holds, whichever thread sends it.
void CAudioReceiverTCP::SendControl() {
    bool said = false;
    do {
        said = IsEnable();
        m_link.SendControl(said ? audio::kStart : audio::kStop);
    } while (said != IsEnable());
}

void CAudioReceiverTCP::ReleaseConnections() {
    AssertNotInCallback();
    m_link.Release();
    delete this;
}
