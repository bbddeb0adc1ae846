#include "link/udp_subscription.h"

#include "link/mcu_services.h"

using wire::CDatagram;

CUdpSubscription::CUdpSubscription(const CUdpSubscriptionProfile& profile, uint32_t receiverID)
    : m_profile(profile), m_ulReceiverID(receiverID), m_keepAlive(profile.keepAliveEvery, CPollCount::kAtOnce) {}

void CUdpSubscription::SetMcus(const CMcuAddress& peer, const CMcuAddress& local, bool peerOnly) {
    m_peerMcu = peer;
    m_localMcu = local;
    m_bPeerMCUOnly = peerOnly;
}

void CUdpSubscription::SendConnect(uint32_t channelID) {
    const bool peer = ChoosePeerMcu(m_peerMcu, m_localMcu, m_bPeerMCUOnly);
    CDatagram datagram(m_profile.kind, m_profile.connectCode);
    datagram.U32(m_ulReceiverID).U32(channelID);
    for (uint32_t ip : m_peerMcu.ips) datagram.U32(peer ? 0 : ip);  // zeros: nothing to relay
    const CMcuAddress& mcu = peer ? m_peerMcu : m_localMcu;
    mcu.ForEachDistinct([&](uint32_t ip) { SendDatagram(datagram, ip, mcu.port); });
}

bool CUdpSubscription::IsSilent(uint32_t channelID) {
    uint32_t limit = kConnectedTimeoutMs;
    if (SinkID() != 0) {
        if (m_keepAlive.Poll()) SendDatagram(SinkCommand(m_profile.keepAliveCode), m_remote);
    } else {
        SendConnect(channelID);
        limit = m_bPeerMCUOnly ? m_profile.peerOnlyTimeoutMs : m_profile.connectTimeoutMs;
    }
    const bool silent = m_activity.SilentFor(limit);
    if (silent) m_remote.ClearIP();
    return silent;
}

ConnectAck CUdpSubscription::OnConnectAck(uint32_t sinkID, uint32_t ip, uint16_t port) {
    ConnectAck ack = ConnectAck::Foreign;
    if (SinkID() == 0) {
        m_remote.Set(ip, port);
        m_ulSinkID.store(sinkID, std::memory_order_relaxed);
        ack = ConnectAck::First;
    } else if (SinkID() == sinkID && m_remote.IP() == ip) {
        ack = ConnectAck::Repeated;
    }
    if (ack != ConnectAck::Foreign) {
        Touch();
        m_keepAlive.Restart(CPollCount::kAtOnce);
    }
    return ack;
}

bool CUdpSubscription::Accepts(uint32_t sinkID, uint32_t ip, uint16_t port) {
    if (SinkID() != sinkID || !m_remote.Is(ip, port)) return false;
    Touch();
    return true;
}

void CUdpSubscription::SendPacket(char* packet, int length) {
    SendInEnvelope(SinkCommand(m_profile.frameAckCode), packet, length, m_remote);
}

void CUdpSubscription::SendGoodbye() {
    if (SinkID() == 0) return;
    for (int i = 0; i < m_profile.goodbyes; ++i) SendDatagram(SinkCommand(m_profile.disconnectCode), m_remote);
}
