// A TCP connection of a client to the server of a simulated network: bytes in order, as fast as its path carries them.
#pragma once

#include "core/wire/wire_io.h"
#include "sim/nodes.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <utility>

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
    CByteStream(const PathQuality& quality, CRandom& random) : m_quality(quality), m_random(random) {}
    /// Takes what `from` has sent, and says how much of it still waits there.
    void Take(CFakeTcp& from) {
        for (CSentMessage& message : from.TakeSent()) m_messages.push_back(std::move(message));
        size_t taken = 0, queued = 0;
        for (size_t i = m_nBegun; i < m_messages.size(); ++i) {
            taken += Length(m_messages[i]);
            queued += taken > kKernel + m_nLeft ? 1 : 0;
        }
        from.queued = queued;
    }
    /// What has arrived by now: `onBytes` gets its length, `onMessage` whole messages. True when there was any.
    template <class OnBytes, class OnMessage>
    bool Run(uint64_t now, OnBytes onBytes, OnMessage onMessage) {
        Leave(now);
        bool any = false;
        while (!m_segments.empty() && m_segments.front().arrives <= now) {
            const Segment segment = m_segments.front();
            m_segments.pop_front();
            any = true;
            onBytes(segment.bytes);
            if (!segment.ends) continue;
            const CSentMessage message = std::move(m_messages.front());
            m_messages.pop_front();
            --m_nBegun;
            onMessage(message);
        }
        return any;
    }

private:
    static constexpr size_t kSegment = 1000, kHead = 5;
    static constexpr size_t kKernel = 64 * 1024;  // bytes that the kernel takes before they leave
    static constexpr uint32_t kResendMs = 200;    // besides a round trip, until what was lost comes again

    struct Segment {
        uint64_t arrives;
        size_t bytes;
        bool ends;  // the first message in flight
    };
    static size_t Length(const CSentMessage& message) { return message.bytes.size() + kHead; }
    void Leave(uint64_t now) {
        while (m_nBegun < m_messages.size() && m_dFree <= static_cast<double>(now)) {
            const size_t length = Length(m_messages[m_nBegun]);
            const size_t bytes = std::min(kSegment, length - m_nLeft);
            const double begins = std::max(m_dFree, static_cast<double>(now) - 1);
            m_dFree = begins + static_cast<double>(bytes + 40) / m_quality.bytesPerMs;
            uint64_t arrives = static_cast<uint64_t>(m_dFree) + m_quality.oneWayMs;
            while (m_random.Chance(m_quality.lossPermille)) arrives += 2 * m_quality.oneWayMs + kResendMs;
            m_ullLast = std::max(m_ullLast, arrives);
            m_nLeft += bytes;
            m_segments.push_back({m_ullLast, bytes, m_nLeft == length});
            if (m_nLeft < length) continue;
            m_nLeft = 0;
            ++m_nBegun;
        }
    }

    const PathQuality m_quality;
    CRandom& m_random;
    std::deque<CSentMessage> m_messages;  // begun or not; the first is the next to arrive whole
    size_t m_nBegun = 0;                  // messages of which all has left
    size_t m_nLeft = 0;                   // bytes of the next one that have
    double m_dFree = 0;                   // when the path can take the next segment
    uint64_t m_ullLast = 0;               // nothing arrives before this
    std::deque<Segment> m_segments;
};

class CTcpPath {
public:
    /// The server is the first process of the network.
    CTcpPath(CWorld& world, CFakeNet& net, CNode& near, CFakeTcp& client, CNode& server, const PathQuality& quality)
        : m_world(world),
          m_net(net),
          m_near(near),
          m_server(server),
          m_client(client),
          m_up(quality, world.random),
          m_down(quality, world.random),
          m_ullConnected(world.Elapsed() + 2 * quality.oneWayMs) {}

    /// True when something arrived.
    bool Run() {
        const uint64_t now = m_world.Elapsed();
        if (m_client.released && m_pSession) m_pSession->lost = true;
        if (m_client.released || now < m_ullConnected) return false;
        if (!std::exchange(m_bConnected, true)) m_near.Do([&] { m_client.clientNotify->OnTcpClientNotifyConnected(); });
        m_up.Take(m_client);
        bool any = m_up.Run(
            now, [](size_t) {}, [&](const CSentMessage& message) { ToServer(message); });
        if (!m_pSession) return any;
        m_client.lost = m_client.lost || m_pSession->released;
        m_down.Take(*m_pSession);
        const bool down = m_down.Run(
            now, [&](size_t bytes) { m_client.received += bytes; },
            [&](const CSentMessage& message) { ToClient(message); });
        return any || down;
    }

private:
    void ToServer(const CSentMessage& message) {
        const int length = static_cast<int>(message.bytes.size());
        if (message.mode == 1) {
            m_pSession = &m_net.NewSession();
            const uint32_t type = wire::CWireReader(message.bytes.data(), length).U32();
            bool taken = false;
            m_server.Do([&] { taken = m_net.servers.front()->Validate(m_pSession, type, message.bytes.substr(8)); });
            m_client.lost = !taken;
        } else if (m_pSession && m_pSession->sessionNotify && !m_pSession->released) {
            m_server.Do(
                [&] { m_pSession->sessionNotify->OnTcpSessionNotifyReceivedFrame(message.bytes.data(), length); });
        }
    }
    void ToClient(const CSentMessage& message) {
        if (m_client.released) return;
        const char* const bytes = message.bytes.data();
        const int length = static_cast<int>(message.bytes.size());
        m_near.Do([&] {
            if (message.mode == 1)
                m_client.clientNotify->OnTcpClientNotifyValidate(0, bytes + 8, length - 8);
            else
                m_client.clientNotify->OnTcpClientNotifyReceivedFrame(bytes, length);
        });
    }

    CWorld& m_world;
    CFakeNet& m_net;
    CNode& m_near;
    CNode& m_server;
    CFakeTcp& m_client;
    CFakeTcp* m_pSession = nullptr;
    CByteStream m_up, m_down;
    const uint64_t m_ullConnected;  // when the dial has got through
    bool m_bConnected = false;
};

}  // namespace sim
