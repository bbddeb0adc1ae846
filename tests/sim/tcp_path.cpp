#include "sim/tcp_path.h"

#include "core/wire/wire_io.h"

#include <algorithm>

namespace sim {
namespace {

constexpr size_t kSegment = 1000, kHead = 5;
constexpr size_t kKernel = 64 * 1024;  // bytes that the kernel takes before they leave
constexpr uint32_t kResendMs = 200;    // besides a round trip, until what was lost comes again

size_t Length(const CSentMessage& message) { return message.bytes.size() + kHead; }

}  // namespace

void CByteStream::Take(CFakeTcp& from) {
    for (CSentMessage& message : from.TakeSent()) {
        m_nWaiting += Length(message);
        m_messages.push_back(std::move(message));
    }
    size_t taken = 0, queued = 0;
    for (size_t i = m_nBegun; i < m_messages.size(); ++i) {
        taken += Length(m_messages[i]);
        queued += taken > kKernel + m_nLeft ? 1 : 0;
    }
    from.queued = queued;
}

void CByteStream::Leave(uint64_t now) {
    while (m_nBegun < m_messages.size() && m_dFree <= static_cast<double>(now)) {
        const size_t length = Length(m_messages[m_nBegun]);
        const size_t bytes = std::min(kSegment, length - m_nLeft);
        m_dFree =
            std::max(m_dFree, static_cast<double>(now) - 1) + static_cast<double>(bytes + 40) / m_quality.bytesPerMs;
        uint64_t arrives = static_cast<uint64_t>(m_dFree) + m_quality.oneWayMs;
        while (m_random.Chance(m_quality.lossPermille)) arrives += 2 * m_quality.oneWayMs + kResendMs;
        m_ullLast = std::max(m_ullLast, arrives);
        m_nLeft += bytes;
        m_nWaiting -= bytes;
        m_segments.push_back({m_ullLast, bytes, m_nLeft == length});
        if (m_nLeft < length) continue;
        m_nLeft = 0;
        ++m_nBegun;
    }
}

bool CByteStream::Run(uint64_t now, const OnBytes& onBytes, const OnMessage& onMessage) {
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

bool CTcpPath::Run() {
    const uint64_t now = m_world.Elapsed();
    if (m_client.released || now < m_ullConnected) {
        if (m_client.released && m_pSession) m_pSession->lost = true;
        return false;
    }
    if (!m_bConnected) {
        m_bConnected = true;
        m_near.Do([&] { m_client.clientNotify->OnTcpClientNotifyConnected(); });
    }
    m_up.Take(m_client);
    bool any = m_up.Run(
        now, [](size_t) {}, [&](const CSentMessage& message) { ToServer(message); });
    if (!m_pSession) return any;
    m_client.lost = m_client.lost || m_pSession->released;
    m_down.Take(*m_pSession);
    any = m_down.Run(
              now, [&](size_t bytes) { m_client.received += bytes; },
              [&](const CSentMessage& message) { ToClient(message); }) ||
          any;
    return any;
}

void CTcpPath::ToServer(const CSentMessage& message) {
    if (message.mode == 1) {
        m_pSession = &m_net.NewSession();
        const uint32_t type = wire::CWireReader(message.bytes.data(), static_cast<int>(message.bytes.size())).U32();
        bool taken = false;
        m_server.Do([&] { taken = m_listener.Validate(m_pSession, type, message.bytes.substr(8)); });
        m_client.lost = !taken;
    } else if (m_pSession && m_pSession->sessionNotify && !m_pSession->released) {
        m_server.Do([&] {
            m_pSession->sessionNotify->OnTcpSessionNotifyReceivedFrame(message.bytes.data(),
                                                                       static_cast<int>(message.bytes.size()));
        });
    }
}

void CTcpPath::ToClient(const CSentMessage& message) {
    if (m_client.released) return;
    const int length = static_cast<int>(message.bytes.size());
    m_near.Do([&] {
        if (message.mode == 1)
            m_client.clientNotify->OnTcpClientNotifyValidate(0, message.bytes.data() + 8, length - 8);
        else
            m_client.clientNotify->OnTcpClientNotifyReceivedFrame(message.bytes.data(), length);
    });
}

}  // namespace sim
