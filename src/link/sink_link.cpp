#include "link/sink_link.h"

#include "link/mcu_services.h"

CSinkLink::CSinkLink(const CSinkLinkProfile& profile, uint32_t receiverID)
    : m_profile(profile),
      m_ulReceiverID(receiverID),
      m_keepAlive(profile.keepAliveEvery, profile.keepAliveWhenIdle ? uint8_t{0} : CPollCount::kAtOnce) {}

bool CSinkLink::Poll(uint32_t connectTimeoutMs) {
    uint32_t limit = connectTimeoutMs;
    if (SinkID() != 0) {
        if (m_keepAlive.Poll()) SendKeepAlive();
        limit = kConnectedTimeoutMs;
    }
    const bool silent = m_activity.SilentFor(limit);
    if (silent) m_remote.ClearIP();
    return silent;
}

// Where there are two words, the last one is what holds, whichever thread sends it.
void CSinkLink::SendKeepAlive() {
    bool said = false;
    do {
        said = IsEnabled();
        const wire::CDatagram datagram = SinkCommand(said ? m_profile.keepAliveCode : m_profile.stopCode);
        for (int i = 0; i < m_profile.keepAliveRepeats; ++i) SendDatagram(datagram, m_remote);
        if (m_profile.stopCode != m_profile.keepAliveCode) FlushUdpBatch();
    } while (said != IsEnabled());
}

void CSinkLink::SetEnable(bool enable) {
    m_bEnable.store(enable, std::memory_order_relaxed);
    if (SinkID() != 0) SendKeepAlive();
}

ConnectAck CSinkLink::OnConnectAck(uint32_t sinkID, uint32_t ip, uint16_t port) {
    ConnectAck ack = ConnectAck::Foreign;
    if (sinkID == 0) return ack;  // nothing would be settled, and asking again would draw the same answer at once
    if (SinkID() == 0) {
        m_remote.Set(ip, port);
        m_ulSinkID.store(sinkID, std::memory_order_relaxed);
        ack = ConnectAck::First;
    } else if (SinkID() == sinkID && m_remote.IP() == ip) {
        ack = ConnectAck::Repeated;
    }
    if (ack != ConnectAck::Foreign) {
        Touch();
        if (!m_profile.keepAliveWhenIdle) KeepAliveSoon();
    }
    return ack;
}

bool CSinkLink::Accepts(uint32_t sinkID, uint32_t ip, uint16_t port) {
    if (SinkID() != sinkID || !m_remote.Is(ip, port)) return false;
    Touch();
    return true;
}

void CSinkLink::SendPacket(char* packet, int length) {
    if (m_profile.keepAliveWhenIdle) m_keepAlive.Restart();
    SendInEnvelope(SinkCommand(m_profile.frameAckCode), packet, length, m_remote);
}

void CSinkLink::SendGoodbye() {
    if (SinkID() == 0) return;
    for (int i = 0; i < m_profile.goodbyes; ++i) SendDatagram(SinkCommand(m_profile.disconnectCode), m_remote);
}
