// A TCP connection of a client to the server of a simulated network: bytes in order, as fast as its path carries them.
#pragma once

#include "sim/server_node.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <string>

namespace sim {

/// What lies between the two ends, each way alike.
struct PathQuality {
    double bytesPerMs = 1250;
    uint32_t oneWayMs = 1;
    uint32_t lossPermille = 0;
};

/// One direction: a message leaves the sender's queue when the kernel has room, its bytes arrive one segment after the
/// other, and what is lost holds back all behind it.
class CByteStream {
public:
    using OnBytes = std::function<void(size_t)>;
    using OnMessage = std::function<void(const CSentMessage&)>;

    CByteStream(const PathQuality& quality, CRandom& random) : m_quality(quality), m_random(random) {}
    /// Takes what `from` has sent, and says how much of it still waits there.
    void Take(CFakeTcp& from);
    /// What has arrived by now; true when there was any.
    bool Run(uint64_t now, const OnBytes& onBytes, const OnMessage& onMessage);

private:
    struct Segment {
        uint64_t arrives;
        size_t bytes;
        bool ends;  // the first message in flight
    };
    void Leave(uint64_t now);

    const PathQuality m_quality;
    CRandom& m_random;
    std::deque<CSentMessage> m_messages;  // begun or not; the first is the next to arrive whole
    size_t m_nBegun = 0;                  // messages of which all has left
    size_t m_nLeft = 0;                   // bytes of the next one that have
    size_t m_nWaiting = 0;                // bytes that have not left
    double m_dFree = 0;                   // when the path can take the next segment
    uint64_t m_ullLast = 0;               // nothing arrives before this
    std::deque<Segment> m_segments;
};

class CTcpPath {
public:
    CTcpPath(CWorld& world, CFakeNet& net, CNode& near, CFakeTcp& client, CNode& server, CFakeTcpServer& listener,
             const PathQuality& quality)
        : m_world(world),
          m_net(net),
          m_near(near),
          m_server(server),
          m_client(client),
          m_listener(listener),
          m_up(quality, world.random),
          m_down(quality, world.random),
          m_ullConnected(world.Elapsed() + 2 * quality.oneWayMs) {}

    /// True when something arrived.
    bool Run();

private:
    void ToServer(const CSentMessage& message);
    void ToClient(const CSentMessage& message);

    CWorld& m_world;
    CFakeNet& m_net;
    CNode& m_near;
    CNode& m_server;
    CFakeTcp& m_client;
    CFakeTcp* m_pSession = nullptr;
    CFakeTcpServer& m_listener;
    CByteStream m_up, m_down;
    const uint64_t m_ullConnected;  // when the dial has got through
    bool m_bConnected = false;
};

}  // namespace sim
