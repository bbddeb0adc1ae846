// A relay server and the clients of one of its media that start and stop.
#pragma once

#include "server_host.h"
#include "support/medium_wire.h"

#include <string>
#include <vector>

class CStreamHost {
public:
    static constexpr uint32_t kChannel = 77;
    static constexpr uint32_t kKey = 5;
    static constexpr CEndpointAddress kAlice{0x0a000001, 1001};
    static constexpr CEndpointAddress kBob{0x0a000002, 1002};
    static constexpr CEndpointAddress kCarol{0x0a000003, 1003};
    static constexpr CEndpointAddress kFar{0x7f000009, 7005};

    explicit CStreamHost(const CMediumRow& medium, const CServerOptions& options = CServerHost::LoopbackOptions())
        : host(options), m_medium(medium), m_sink(medium.sink), m_source(medium.source) {}

    /// How a datagram with this command begins, in hexadecimal.
    std::string Code(uint8_t command) const { return ToHex(Datagram(m_medium, command, {})); }
    void Say(uint8_t command, uint32_t id, const CEndpointAddress& address, const std::string& rest = "") {
        host.Deliver(Datagram(m_medium, command, {id}, rest), address);
    }
    std::string Claim(uint32_t channelID, uint32_t key) const {
        return Datagram(m_medium, m_source.connect, {channelID, key});
    }
    std::string Request(uint32_t receiverID, uint32_t channelID) const {
        return Datagram(m_medium, m_sink.connect, {receiverID, channelID, 1});
    }
    /// One that has connected and answered. Its source ID.
    uint32_t Publish(uint32_t channelID, const CEndpointAddress& address) {
        host.Deliver(Claim(channelID, kKey), address);
        const uint32_t sourceID = host.LastID(address, Code(m_source.connectAck), 6);
        Say(m_source.stopAck, sourceID, address);
        host.Take(address);
        return sourceID;
    }
    uint32_t Connect(uint32_t channelID, uint32_t receiverID, const CEndpointAddress& address) {
        host.Deliver(Request(receiverID, channelID), address);
        return Connected(address);
    }
    /// The sink ID that the peer was told, or 0.
    uint32_t Connected(const CEndpointAddress& address) {
        const uint32_t sinkID = host.LastID(address, Code(m_sink.connectAck), 6);
        host.Take(address);
        return sinkID;
    }
    /// One that has started.
    uint32_t Listen(uint32_t channelID, uint32_t receiverID, const CEndpointAddress& address) {
        const uint32_t sinkID = Connect(channelID, receiverID, address);
        Say(m_sink.keepAlive, sinkID, address);
        host.Take(address);
        return sinkID;
    }
    size_t TakeFrames(const CEndpointAddress& address) { return host.TakeCount(address, Code(m_sink.frame)); }
    std::string LongConnect(uint32_t receiverID, uint32_t ip, uint16_t port) const {
        return Datagram(m_medium, m_sink.connect, {receiverID}, TcpRequest(ip, port));
    }
    static std::string TcpRequest(uint32_t ip, uint16_t port) {
        using session_wire::U32;
        return U32(kChannel) + U32(ip) + U32(0) + U32(0) + U32(port).substr(2) + U32(1);
    }
    static void FromPeer(CFakeTcp& session, const std::string& frame) { CServerHost::FromPeer(session, frame); }
    static std::vector<std::string> Frames(CFakeTcp& session) { return CServerHost::Frames(session); }
    CMediumStatus Status() {
        CMediumStatus found;
        for (const CMediumStatus& one : host.server->Media())
            if (std::string(one.medium) == m_medium.name) found = one;
        return found;
    }

    CServerHost host;

protected:
    const CMediumRow& m_medium;
    const CSinkRow& m_sink;
    const CSourceRow& m_source;
};
