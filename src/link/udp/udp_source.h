// The publisher's half of a UDP link to a server.
#pragma once

#include "core/wire/wire_io.h"
#include "link/activity.h"
#include "link/mcu_address.h"
#include "link/media.h"
#include "link/udp/link_description.h"

#include <atomic>
#include <cstdint>

/// What an acknowledgement of a connect request turned out to be.
enum class ConnectAck { First, Repeated, Foreign };

/// Connect request to the distinct addresses of the server, first answer wins, source ID, time-outs, goodbye.
class CUdpSource {
public:
    CUdpSource(const CMediumRow& medium, uint32_t senderKey);

    /// False when there is no address or no port.
    bool SetMcu(const CMcuAddress& mcu);
    void SendConnect(uint32_t channelID);
    /// The application's poll: repeats the connect request until it is acknowledged. True when the server has been
    /// silent for too long.
    bool Poll(uint32_t channelID);
    ConnectAck OnConnectAck(uint32_t sourceID, uint32_t ip, uint16_t port);
    /// A sign of life of the server.
    void Touch() { m_activity.Touch(); }
    /// Answers the server's keep-alive or START, and its STOP, once the source ID is known.
    void AnswerKeepAlive() { SendCommand(m_medium.source.keepAliveAck); }
    void AnswerStop() { SendCommand(m_medium.source.stopAck); }
    void SendPacket(char* packet, int length);
    /// One frame as one datagram; too long a one is dropped.
    void SendFrame(const void* data, int length);
    /// The disconnect command, three times, when the source ID is known.
    void SendGoodbye();

    uint32_t SourceID() const { return m_ulSourceID.load(std::memory_order_relaxed); }
    const CRemoteAddress& Remote() const { return m_remote; }
    /// Any thread.
    void Describe(LumoLinkStatistics& statistics) const {
        DescribeFarSide(statistics, m_medium.kind, SourceID(), m_remote, m_activity.Signs());
    }

private:
    void SendCommand(uint8_t code);

    const CMediumRow& m_medium;
    const uint32_t m_ulSenderKey;
    CMcuAddress m_mcu;        // set before the sender is known to other threads
    CRemoteAddress m_remote;  // where the acknowledgement came from; unset until then
    std::atomic<uint32_t> m_ulSourceID{0};
    CActivity m_activity;
};
