// The subscriber's half of a UDP link: what every receiver does with the sink that answered it.
#pragma once

#include "core/wire/datagram.h"
#include "link/activity.h"
#include "link/mcu_address.h"
#include "link/media.h"
#include "link/udp_source.h"

#include <atomic>
#include <cstdint>

/// Whose sink it is: a server's or a peer's.
enum class FarSide { Server, Peer };

/// First answer wins, address checks, keep-alives, silence, goodbye. How a sink is asked for is the derived class's.
class CSinkLink {
public:
    CSinkLink(const CMediumRow& medium, uint32_t receiverID, FarSide farSide);

    void Touch() { m_activity.Touch(); }
    /// A first or repeated acknowledgement makes the next poll send a keep-alive.
    ConnectAck OnConnectAck(uint32_t sinkID, uint32_t ip, uint16_t port);
    /// Whether a datagram is the acknowledged sink's; refreshes the activity if so.
    bool Accepts(uint32_t sinkID, uint32_t ip, uint16_t port);
    void SendPacket(char* packet, int length);
    void SendGoodbye();
    /// When the far side last gave a sign of life.
    uint32_t LastHeard() const { return m_activity.Last(); }
    /// Whether the subscriber wants the stream, where it can say so. Told at once, and with every keep-alive.
    void SetEnable(bool enable);
    bool IsEnabled() const { return m_bEnable.load(std::memory_order_relaxed); }
    /// Makes the next poll send a keep-alive.
    void KeepAliveSoon() { m_keepAlive.Restart(CPollCount::kAtOnce); }

    uint32_t SinkID() const { return m_ulSinkID.load(std::memory_order_relaxed); }
    const CRemoteAddress& Remote() const { return m_remote; }
    /// Any thread.
    void Describe(LumoLinkStatistics& statistics) const {
        DescribeFarSide(statistics, m_medium.kind, SinkID(), m_remote, m_activity.Signs());
    }

protected:
    ~CSinkLink() = default;
    /// The application's poll: keep-alives once connected. True when silent for too long; the far side's address is
    /// forgotten then.
    bool Poll(uint32_t connectTimeoutMs);
    wire::CDatagram ConnectRequest(uint32_t channelID) const {
        return wire::CDatagram(m_medium.kind, m_medium.sink.connect).U32(m_ulReceiverID).U32(channelID);
    }
    void SendKeepAlive();
    const CMediumRow& m_medium;

private:
    wire::CDatagram SinkCommand(uint8_t code) const { return wire::CDatagram(m_medium.kind, code).U32(SinkID()); }

    const uint32_t m_ulReceiverID;
    const FarSide m_farSide;
    CRemoteAddress m_remote;
    std::atomic<uint32_t> m_ulSinkID{0};
    std::atomic<bool> m_bEnable{true};
    CActivity m_activity;
    CPollCount m_keepAlive;
};
