// The publisher's half of a UDP link to a subscriber: what every UDP sink does.
#pragma once

#include "core/wire/datagram.h"
#include "link/activity.h"
#include "link/link_description.h"
#include "link/mcu_services.h"

#include <cstdint>

/// Every sign of life is acknowledged to the address that first asked. UDP thread, but what says otherwise.
class CUdpSink {
public:
    static constexpr uint32_t kTimeoutMs = 180000;

    CUdpSink(wire::Kind kind, uint32_t ip, uint16_t port, uint32_t receiverID, uint32_t sinkID)
        : m_kind(kind), m_activity(CActivity::Now()), m_ulReceiverID(receiverID), m_ulSinkID(sinkID) {
        m_remote.Set(ip, port);
    }

    void Touch() { m_activity.Touch(); }
    void Acknowledge(uint8_t code, int times) {
        Touch();
        const wire::CDatagram datagram = Head(code);
        for (int i = 0; i < times; ++i) SendDatagram(datagram, m_remote);
    }
    bool IsSilent() { return m_activity.SilentFor(kTimeoutMs); }
    /// The beginning of every datagram to the subscriber. Any thread, as what follows.
    wire::CDatagram Head(uint8_t code) const {
        return wire::CDatagram(m_kind, code).U32(m_ulReceiverID).U32(m_ulSinkID);
    }
    /// One frame as one datagram; too long a one is dropped.
    void SendFrame(uint8_t code, const void* data, int length) const {
        SendPlainFrame(Head(code), data, length, m_remote);
    }

    const CRemoteAddress& Remote() const { return m_remote; }
    void Describe(LumoLinkStatistics& statistics) const {
        DescribeFarSide(statistics, m_kind, SinkID(), m_remote, m_activity.Signs());
    }
    uint32_t ReceiverID() const { return m_ulReceiverID; }
    uint32_t SinkID() const { return m_ulSinkID; }

private:
    const wire::Kind m_kind;
    CRemoteAddress m_remote;  // as seen on the connect request; never changes
    CActivity m_activity;
    const uint32_t m_ulReceiverID;
    const uint32_t m_ulSinkID;
};
