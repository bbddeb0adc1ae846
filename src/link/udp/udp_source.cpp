#include "link/udp/udp_source.h"

#include "link/process/mcu_services.h"

using wire::CWireWriter;

CUdpSource::CUdpSource(const CMediumRow& medium, uint32_t senderKey)
    : m_medium(medium), m_ulSenderKey(senderKey), m_activity(CActivity::Now()) {}

bool CUdpSource::SetMcu(const CMcuAddress& mcu) {
    if (mcu.IsEmpty() || mcu.port == 0) return false;
    m_mcu = mcu;
    return true;
}

void CUdpSource::SendConnect(uint32_t channelID) {
    const CWireWriter datagram = CWireWriter(m_medium.kind, m_medium.source.connect).U32(channelID).U32(m_ulSenderKey);
    m_mcu.ForEachDistinct([&](uint32_t ip) { SendDatagram(datagram, ip, m_mcu.port); });
}

bool CUdpSource::Poll(uint32_t channelID) {
    uint32_t limit = media::kGoneAfterMs;
    if (!m_remote.IsSet()) {
        SendConnect(channelID);
        limit = m_medium.source.connectTimeout;
    }
    return m_activity.SilentFor(limit);
}

ConnectAck CUdpSource::OnConnectAck(uint32_t sourceID, uint32_t ip, uint16_t port) {
    if (sourceID == 0) return ConnectAck::Foreign;  // 0 stands for no source
    if (SourceID() == 0) {
        m_remote.Set(ip, port);
        m_ulSourceID.store(sourceID, std::memory_order_relaxed);
        Touch();
        return ConnectAck::First;
    }
    if (SourceID() != sourceID) return ConnectAck::Foreign;
    Touch();
    return ConnectAck::Repeated;
}

void CUdpSource::SendCommand(uint8_t code) {
    if (SourceID() != 0) SendDatagram(CWireWriter(m_medium.kind, code).U32(SourceID()), m_remote);
}

void CUdpSource::SendPacket(char* packet, int length) {
    SendInEnvelope(CWireWriter(m_medium.kind, m_medium.source.frame).U32(SourceID()), packet, length, m_remote);
}

void CUdpSource::SendFrame(const void* data, int length) {
    SendPlainFrame(CWireWriter(m_medium.kind, m_medium.source.frame).U32(SourceID()), data, length, m_remote);
}

void CUdpSource::SendGoodbye() {
    for (int i = 0; i < media::kSourceGoodbyes; ++i) SendCommand(m_medium.source.disconnect);
}
