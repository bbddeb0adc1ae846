#include "link/udp/udp_subscriber_link.h"

#include "link/process/mcu_services.h"

CUdpSubscriberLink::CUdpSubscriberLink(const CMediumRow& medium, uint32_t receiverID, FarSide farSide)
    : m_medium(medium),
      m_ulReceiverID(receiverID),
      m_farSide(farSide),
      m_keepAlive(farSide == FarSide::Peer ? medium.sink.keepAliveEveryAtPeer : medium.sink.keepAliveEvery,
                  medium.sink.keepAliveWhenIdle ? uint8_t{0} : CPollCount::kAtOnce) {}

bool CUdpSubscriberLink::PollSink(uint32_t connectTimeoutMs) {
    uint32_t limit = connectTimeoutMs;
    if (SinkID() != 0) {
        if (m_keepAlive.Poll()) SendKeepAlive();
        limit = media::kGoneAfterMs;
    }
    const bool silent = m_activity.SilentFor(limit);
    if (silent) m_remote.ClearIP();
    return silent;
}

// START and STOP may meet on two threads: the one sent last must be the state that holds.
void CUdpSubscriberLink::SendKeepAlive() {
    bool said = false;
    do {
        said = IsEnabled();
        const wire::CWireWriter datagram =
            SinkCommand(said || !m_medium.Stops() ? m_medium.sink.keepAlive : m_medium.sink.stop);
        for (int i = 0; i < m_medium.sink.keepAlives; ++i) SendDatagram(datagram, m_remote);
        if (m_medium.Stops()) FlushUdpBatch();
    } while (said != IsEnabled());
}

void CUdpSubscriberLink::SetEnable(bool enable) {
    m_bEnable.store(enable, std::memory_order_relaxed);
    if (SinkID() != 0) SendKeepAlive();
}

ConnectAck CUdpSubscriberLink::OnConnectAck(uint32_t sinkID, uint32_t ip, uint16_t port) {
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
        if (!m_medium.sink.keepAliveWhenIdle) KeepAliveSoon();
    }
    return ack;
}

bool CUdpSubscriberLink::Accepts(uint32_t sinkID, uint32_t ip, uint16_t port) {
    if (SinkID() != sinkID || !m_remote.Is(ip, port)) return false;
    Touch();
    return true;
}

void CUdpSubscriberLink::SendPacket(char* packet, int length) {
    if (m_medium.sink.keepAliveWhenIdle) m_keepAlive.Restart();
    SendInEnvelope(SinkCommand(m_medium.sink.frameAck), packet, length, m_remote);
}

void CUdpSubscriberLink::SendGoodbye() {
    if (SinkID() == 0) return;
    const int times = m_farSide == FarSide::Peer ? m_medium.sink.goodbyesToPeer : m_medium.sink.goodbyes;
    for (int i = 0; i < times; ++i) SendDatagram(SinkCommand(m_medium.sink.disconnect), m_remote);
}

void CUdpSubscription::SendConnect(uint32_t channelID) {
    wire::CWireWriter datagram = ConnectRequest(channelID);
    m_request.Append(datagram, m_medium.sink, m_ulUserID);
    const CMcuAddress& mcu = m_request.Server();
    mcu.ForEachDistinct([&](uint32_t ip) { SendDatagram(datagram, ip, mcu.port); });
}

bool CUdpSubscription::Poll(uint32_t channelID) {
    if (SinkID() == 0) SendConnect(channelID);
    return PollSink(m_request.IsPublishersOnly() ? m_medium.sink.publishersOnlyTimeout : m_medium.sink.connectTimeout);
}
