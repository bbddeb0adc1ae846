// The publisher's half of a UDP link to a subscriber: what every UDP sink does.
#pragma once

#include "core/wire/wire_io.h"
#include "link/activity.h"
#include "link/media.h"
#include "link/process/mcu_services.h"
#include "link/udp/link_description.h"

#include <cstdint>

/// Every sign of life is acknowledged to the address that first asked. UDP thread unless said otherwise.
class CUdpSink {
public:
    CUdpSink(const CMediumRow& medium, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t sinkID)
        : m_medium(medium), m_activity(CActivity::Now()), m_ulReceiverID(receiverID), m_ulSinkID(sinkID) {
        m_remote.Set(ip, port);
    }

    void Touch() { m_activity.Touch(); }
    /// Acknowledge what the subscriber has sent.
    void AcknowledgeConnect() { Acknowledge(m_medium.sink.connectAck, m_medium.sink.connectAcks); }
    void AcknowledgeKeepAlive() { Acknowledge(m_medium.sink.keepAliveAck, m_medium.sink.keepAliveAcks); }
    void AcknowledgeStop() { Acknowledge(m_medium.sink.stopAck, m_medium.sink.keepAliveAcks); }
    bool IsSilent() const { return m_activity.SilentFor(media::kGoneAfterMs); }
    /// One frame as one datagram; too long a one is dropped. Any thread, as what follows.
    void SendFrame(const void* data, int length) const {
        SendPlainFrame(Head(m_medium.sink.frame), data, length, m_remote);
    }
    /// One packet of the session, with room in front for the envelope.
    void SendPacket(char* packet, int length) const {
        SendInEnvelope(Head(m_medium.sink.frame), packet, length, m_remote);
    }

    const CRemoteAddress& Remote() const { return m_remote; }
    void Describe(LumoLinkStatistics& statistics) const {
        DescribeFarSide(statistics, m_medium.kind, SinkID(), m_remote, m_activity.Signs());
    }
    uint32_t ReceiverID() const { return m_ulReceiverID; }
    uint32_t SinkID() const { return m_ulSinkID; }

private:
    wire::CWireWriter Head(uint8_t code) const {
        return wire::CWireWriter(m_medium.kind, code).U32(m_ulReceiverID).U32(m_ulSinkID);
    }
    void Acknowledge(uint8_t code, int times) {
        Touch();
        const wire::CWireWriter datagram = Head(code);
        for (int i = 0; i < times; ++i) SendDatagram(datagram, m_remote);
    }

    const CMediumRow& m_medium;
    CRemoteAddress m_remote;  // as seen on the connect request; never changes
    CActivity m_activity;
    const uint32_t m_ulReceiverID;
    const uint32_t m_ulSinkID;
};
