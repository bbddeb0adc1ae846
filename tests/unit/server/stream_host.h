// A relay server and the clients of one of its media that start and stop.
#pragma once

#include "server_host.h"

#include <string>
#include <vector>

/// Readable bytes: kind, and commands without it.
struct StreamCodes {
    const char* kind;
    const char *sinkConnect, *sinkConnectAck, *sinkStart, *sinkFrame;
    const char *sourceConnect, *sourceConnectAck, *sourceStopAck;
    size_t place;  // among the media of the status
};

class CStreamHost {
public:
    static constexpr uint32_t kChannel = 77;
    static constexpr uint32_t kKey = 5;
    static constexpr CEndpointAddress kAlice{0x0a000001, 1001};
    static constexpr CEndpointAddress kBob{0x0a000002, 1002};
    static constexpr CEndpointAddress kCarol{0x0a000003, 1003};
    static constexpr CEndpointAddress kFar{0x7f000009, 7005};

    explicit CStreamHost(const StreamCodes& codes, const CServerOptions& options = CServerHost::LoopbackOptions())
        : host(options), m_codes(codes) {}

    std::string Code(const char* command) const { return std::string(m_codes.kind) + command; }
    void Say(const char* command, uint32_t id, const CEndpointAddress& address, const std::string& rest = "") {
        host.Deliver(Hex(Code(command)) + session_wire::U32(id) + rest, address);
    }
    /// One that has connected and answered. Its source ID.
    uint32_t Publish(uint32_t channelID, const CEndpointAddress& address) {
        host.Deliver(Hex(Code(m_codes.sourceConnect)) + session_wire::U32(channelID) + session_wire::U32(kKey),
                     address);
        const uint32_t sourceID = host.LastID(address, Code(m_codes.sourceConnectAck), 6);
        Say(m_codes.sourceStopAck, sourceID, address);
        host.Take(address);
        return sourceID;
    }
    uint32_t Connect(uint32_t channelID, uint32_t receiverID, const CEndpointAddress& address) {
        host.Deliver(Hex(Code(m_codes.sinkConnect)) + session_wire::U32(receiverID) + session_wire::U32(channelID) +
                         session_wire::U32(1),
                     address);
        return Connected(address);
    }
    /// The sink ID that the peer was told, or 0.
    uint32_t Connected(const CEndpointAddress& address) {
        const uint32_t sinkID = host.LastID(address, Code(m_codes.sinkConnectAck), 6);
        host.Take(address);
        return sinkID;
    }
    /// One that has started.
    uint32_t Listen(uint32_t channelID, uint32_t receiverID, const CEndpointAddress& address) {
        const uint32_t sinkID = Connect(channelID, receiverID, address);
        Say(m_codes.sinkStart, sinkID, address);
        host.Take(address);
        return sinkID;
    }
    size_t TakeFrames(const CEndpointAddress& address) { return host.TakeCount(address, Code(m_codes.sinkFrame)); }
    std::string LongConnect(uint32_t receiverID, uint32_t ip, uint16_t port) const {
        return Hex(Code(m_codes.sinkConnect)) + session_wire::U32(receiverID) + TcpRequest(ip, port);
    }
    static std::string TcpRequest(uint32_t ip, uint16_t port) {
        using session_wire::U32;
        return U32(kChannel) + U32(ip) + U32(0) + U32(0) + U32(port).substr(2) + U32(1);
    }
    static void FromPeer(CFakeTcp& session, const std::string& frame) { CServerHost::FromPeer(session, frame); }
    static std::vector<std::string> Frames(CFakeTcp& session) { return CServerHost::Frames(session); }
    CMediumStatus Status() { return host.server->Media().at(m_codes.place); }

    CServerHost host;

private:
    const StreamCodes m_codes;
};
