// The subscriber's half of a UDP link: what every receiver does with the sink that answered it, and how a server is
// asked for one.
#pragma once

#include "core/wire/wire_io.h"
#include "link/activity.h"
#include "link/mcu_address.h"
#include "link/media.h"
#include "link/relay_request.h"
#include "link/udp/udp_source.h"

#include <atomic>
#include <cstdint>

/// The subscriber's half of a UDP link: what every receiver does with the sink that answered it.
/// Whose sink it is: a server's or a peer's.
enum class FarSide { Server, Peer };

/// First answer wins, address checks, keep-alives, silence, goodbye. The derived class asks for the sink.
class CUdpSubscriberLink {
public:
    CUdpSubscriberLink(const CMediumRow& medium, uint32_t receiverID, FarSide farSide);

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
    ~CUdpSubscriberLink() = default;
    /// The application's poll: sends keep-alives once connected. True when the far side has been silent for too long;
    /// its address is forgotten then.
    bool PollSink(uint32_t connectTimeoutMs);
    wire::CWireWriter ConnectRequest(uint32_t channelID) const {
        return wire::CWireWriter(m_medium.kind, m_medium.sink.connect).U32(m_ulReceiverID).U32(channelID);
    }
    void SendKeepAlive();
    const CMediumRow& m_medium;

private:
    wire::CWireWriter SinkCommand(uint8_t code) const { return wire::CWireWriter(m_medium.kind, code).U32(SinkID()); }

    const uint32_t m_ulReceiverID;
    const FarSide m_farSide;
    CRemoteAddress m_remote;
    std::atomic<uint32_t> m_ulSinkID{0};
    std::atomic<bool> m_bEnable{true};
    CActivity m_activity;
    CPollCount m_keepAlive;
};

/// A UDP link to a server's sink.
/// Long-form request to the chosen server, on every poll until it answers.
class CUdpSubscription : public CUdpSubscriberLink {
public:
    CUdpSubscription(const CMediumRow& medium, uint32_t receiverID)
        : CUdpSubscriberLink(medium, receiverID, FarSide::Server) {}

    /// Before the receiver is known to other threads.
    void SetUser(uint32_t userID) { m_ulUserID = userID; }
    void SetMcus(const CMcuAddress& publishers, const CMcuAddress& near, bool publishersOnly) {
        m_request.Set(publishers, near, publishersOnly);
    }
    void SendConnect(uint32_t channelID);
    /// The application's poll: asks for the sink until it answers, then keeps it alive. True when silent for too long.
    bool Poll(uint32_t channelID);

private:
    CRelayRequest m_request;
    uint32_t m_ulUserID = 0;
};
