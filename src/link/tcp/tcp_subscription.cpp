#include "link/tcp/tcp_subscription.h"

using wire::CWireWriter;

namespace {
constexpr int kAnswerLength = 8;  // channel ID, sink ID
}  // namespace

CTcpSubscription::CTcpSubscription(const CMediumRow& medium)
    : CTcpLink(medium.kind, media::kReceiverKeepAliveEvery, medium.tcp.start), m_medium(medium) {}

bool CTcpSubscription::DialMcu(ITcpClientNotify* notify, const CMcuAddress& publishers, const CMcuAddress& near,
                               const CProxyServer& proxy) {
    m_request.Set(publishers, near);
    return m_request.IsWhole() && Dial(notify, m_request.Server().ips[0], m_request.Server().port, proxy);
}

void CTcpSubscription::Ask(uint32_t channelID, uint32_t userID) {
    CWireWriter payload = CWireWriter().U32(channelID);
    m_request.Append(payload, m_medium.sink, userID);
    SendValidation(ValidationMessage(m_medium.tcp.receiver, payload));
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

// Two threads may set it at once: the control byte sent last must be the state that holds.
void CTcpSubscription::SayState() {
    bool said = false;
    do {
        said = IsEnabled();
        SendControl(said ? m_medium.tcp.start : m_medium.tcp.stop, m_medium.tcp.statesAlone);
    } while (said != IsEnabled());
}
