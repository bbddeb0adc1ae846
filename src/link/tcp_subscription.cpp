#include "link/tcp_subscription.h"

using wire::CDatagram;

namespace {
constexpr uint8_t kKeepAliveEvery = 12;  // idle polls
constexpr int kAnswerLength = 8;         // channel ID, sink ID
}  // namespace

CTcpSubscription::CTcpSubscription(const CTcpSubscriptionProfile& profile)
    : CTcpLink(profile.kind, kKeepAliveEvery, profile.start), m_profile(profile) {}

bool CTcpSubscription::DialMcu(ITcpClientNotify* notify, const CMcuAddress& peer, const CMcuAddress& local,
                               const CProxy& proxy) {
    if (peer.IsEmpty() || peer.port == 0) return false;
    m_peerMcu = peer;
    m_localMcu = local;
    const CMcuAddress& mcu = ChoosePeerMcu(peer, local, false) ? m_peerMcu : m_localMcu;
    return Dial(notify, mcu.ips[0], mcu.port, proxy);
}

void CTcpSubscription::Ask(uint32_t channelID, uint32_t userID) {
    const bool peer = ChoosePeerMcu(m_peerMcu, m_localMcu, false);
    CDatagram payload;
    payload.U32(channelID);
    for (uint32_t ip : m_peerMcu.ips) payload.U32(peer ? 0 : ip);  // zeros: nothing to relay
    payload.U16(peer ? uint16_t{0} : m_peerMcu.port).U32(userID);
    SendValidation(ValidationMessage(m_profile.type, payload));
}

bool CTcpSubscription::ReadAnswer(const char* data, int length, uint32_t channelID) {
    if (!data || length != kAnswerLength) return false;
    wire::CWireReader answer(data, length);
    if (answer.U32() != channelID) return false;
    m_ulSinkID.store(answer.U32(), std::memory_order_relaxed);
    return true;
}

void CTcpSubscription::SetEnable(bool enable) {
    m_bEnable.store(enable, std::memory_order_relaxed);
    SayState();
}

// The last word is what holds, whichever thread sends it.
void CTcpSubscription::SayState() {
    bool said = false;
    do {
        said = IsEnabled();
        SendControl(said ? m_profile.start : m_profile.stop, m_profile.statesAlone);
    } while (said != IsEnabled());
}
