#include "server/audio/audio_leg.h"

#include "audio/audio_receiver_tcp.h"
#include "audio/audio_receiver_udp.h"
#include "link/work_signal.h"
#include "server/stream.h"

namespace {
constexpr uint32_t kNoUser = 0;  // the subscription is the server's own
}

// There is no nearer server to ask: the request names nobody else.
bool CAudioLeg::Open() {
    bool asked = false;
    if (m_bTcp) {
        auto* receiver = new CAudioReceiverTCP(*this, m_stream.ChannelID(), kNoUser);
        m_pReceiver = receiver;
        asked = receiver->Connect(m_far, {}, {});
    } else {
        auto* receiver = new CAudioReceiverUDP(*this, m_stream.ChannelID(), kNoUser);
        m_pReceiver = m_pReceiverUDP = receiver;
        asked = receiver->Connect(m_far, {});
    }
    if (!asked) Close();
    return asked;
}

void CAudioLeg::Close() {
    if (m_pReceiver) m_pReceiver->ReleaseConnections();
    m_pReceiver = nullptr;
    m_pReceiverUDP = nullptr;
    SetUp(false);
}

void CAudioLeg::Follow(bool wanted) {
    if (m_pReceiver && m_pReceiver->IsEnable() != wanted) m_pReceiver->SetEnable(wanted);
}

uint32_t CAudioLeg::LastHeard() { return m_pReceiverUDP ? m_pReceiverUDP->LastHeard() : 0; }

void CAudioLeg::AskForSign() {
    if (!m_pReceiverUDP) return;
    m_pReceiverUDP->KeepAliveSoon();
    m_pReceiverUDP->IsDisconnected();  // the poll that sends it
}

void CAudioLeg::OnAudioData(const char* data, int length) { m_stream.OnSourceFrame(data, length); }

void CAudioLeg::OnConnected(unsigned long) {
    SetUp(true);
    m_news.store(true, std::memory_order_release);
    CWorkSignal::Get().Wake();
}
