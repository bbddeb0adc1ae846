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
    static constexpr CPeer kAlice{0x0a000001, 1001};
    static constexpr CPeer kBob{0x0a000002, 1002};
    static constexpr CPeer kCarol{0x0a000003, 1003};
    static constexpr CPeer kFar{0x7f000009, 7005};

    explicit CStreamHost(const StreamCodes& codes, const CServerOptions& options = CServerHost::LoopbackOptions())
        : host(options), m_codes(codes) {}

    std::string Code(const char* command) const { return std::string(m_codes.kind) + command; }
    void Say(const char* command, uint32_t id, const CPeer& peer, const std::string& rest = "") {
        host.Deliver(Hex(Code(command)) + session_wire::U32(id) + rest, peer);
    }
    /// One that has connected and answered. Its source ID.
    uint32_t Publish(uint32_t channelID, const CPeer& peer) {
        host.Deliver(Hex(Code(m_codes.sourceConnect)) + session_wire::U32(channelID) + session_wire::U32(kKey), peer);
        const uint32_t sourceID = host.LastID(peer, Code(m_codes.sourceConnectAck), 6);
        Say(m_codes.sourceStopAck, sourceID, peer);
        host.Take(peer);
        return sourceID;
    }
    uint32_t Connect(uint32_t channelID, uint32_t receiverID, const CPeer& peer) {
        host.Deliver(Hex(Code(m_codes.sinkConnect)) + session_wire::U32(receiverID) + session_wire::U32(channelID) +
                         session_wire::U32(1),
                     peer);
        return Connected(peer);
    }
    /// The sink ID that the peer was told, or 0.
    uint32_t Connected(const CPeer& peer) {
        const uint32_t sinkID = host.LastID(peer, Code(m_codes.sinkConnectAck), 6);
        host.Take(peer);
        return sinkID;
    }
    /// One that has started.
    uint32_t Listen(uint32_t channelID, uint32_t receiverID, const CPeer& peer) {
        const uint32_t sinkID = Connect(channelID, receiverID, peer);
        Say(m_codes.sinkStart, sinkID, peer);
        host.Take(peer);
        return sinkID;
    }
    size_t TakeFrames(const CPeer& peer) { return host.TakeCount(peer, Code(m_codes.sinkFrame)); }
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
