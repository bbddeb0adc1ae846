#include "tools/lumo/net/receive_paths.h"

#include "tools/lumo/transfer/limits.h"

#include <utility>

namespace lumo {
namespace {

constexpr size_t kInboxBytes = 32 * 1024 * 1024;  // four times what an honest sender has on its way

/// After a few quick attempts there is no hurry where the relay serves meanwhile.
LinkTimes DirectTimes(PathChoice choice) {
    LinkTimes times;
    times.unaccepted = CReceivePaths::kDirectMs;
    if (choice == PathChoice::Auto) times.pauses = {200, 500, 1000, 10000, 30000, 60000};
    return times;
}

}  // namespace

CReceivePaths::CReceivePaths(PathChoice choice, const RelayRoute& route, CPeerHost& host, uint64_t now)
    : m_host(host),
      m_route(route),
      m_bTcpPeers(choice == PathChoice::P2PTcp),
      m_ullDirectUntilMs(now + kDirectMs),
      m_directInbox(m_wake, kMaxDownstreamFrame, kInboxBytes),
      m_relayInbox(m_wake, kMaxDownstreamFrame, kInboxBytes),
      m_bDirectMissed(!UsesPeers(choice)) {
    const PeerRoute peer{SenderUser(route.channel), DirectChannel(route.channel), m_bTcpPeers};
    if (UsesPeers(choice)) m_pDirect = std::make_unique<CPeerLink>(peer, m_directInbox, DirectTimes(choice));
    if (UsesRelay(choice)) m_pRelay = std::make_unique<CSubscribeLink>(route, m_relayInbox);
}

PathEvent CReceivePaths::Poll(uint64_t now) {
    m_bTaken = false;
    m_host.Poll(now);
    if (m_pDirect) PollDirect(now);
    if (m_pRelay) PollRelay(now);
    CChannelLink* next = nullptr;
    if (m_pDirect && m_pDirect->Ready())
        next = m_pDirect.get();
    else if (m_pRelay && m_pRelay->Ready())
        next = m_pRelay.get();
    if (!next || next == m_pActive) return m_bTaken ? PathEvent::Ready : PathEvent::None;
    m_pActive = next;
    return PathEvent::Changed;
}

void CReceivePaths::PollDirect(uint64_t now) {
    const bool wasUp = m_pDirect->IsUp();
    if (wasUp || m_host.Ready()) m_bTaken = m_pDirect->Poll(now);
    const bool givenUp = wasUp && !m_pDirect->IsUp();
    if (!wasUp) m_ullAskedMs = now;
    // A sender that has begun anew has another port, and over TCP the library keeps to the addresses that it knows.
    if (givenUp && m_bTcpPeers) m_host.Call(SenderUser(m_route.channel));
    if (m_pDirect->IsUp() && !m_pDirect->Ready() && now - m_ullAskedMs >= kAskAgainMs) AskAgain(now);
    if (m_pDirect->Ready()) {
        LookForLife(now);
        m_bDirectMissed = false;
    } else if ((givenUp && IsInVain()) || m_host.Refused() || (now >= m_ullDirectUntilMs && !m_pDirect->EverTaken())) {
        m_bDirectMissed = true;
    }
}

// A request or its answer may also have been lost, which the next attempt tries again.
bool CReceivePaths::IsInVain() const {
    return m_pDirect->EverTaken() || CPeerHost::StateOf(SenderUser(m_route.channel)) == PeerState::Failed;
}

// The library asks once, and the signalling service drops what is for somebody who is not there yet.
void CReceivePaths::AskAgain(uint64_t now) {
    const uint32_t sender = SenderUser(m_route.channel);
    const PeerState state = CPeerHost::StateOf(sender);
    m_ullAskedMs = now;
    if (m_bTcpPeers && state == PeerState::Unknown)
        m_pDirect->Suspend();  // the next one asks
    else if (!m_bTcpPeers && state != PeerState::Connected)
        m_host.Call(sender);
}

// On a path with much loss a whole frame takes longer than a dead one may last, but its packets come.
void CReceivePaths::LookForLife(uint64_t now) {
    constexpr uint64_t kLookMs = 200;
    if (m_bTcpPeers || now - m_ullLookedMs < kLookMs) return;
    m_ullLookedMs = now;
    const uint64_t packets = CPeerHost::PacketsFrom(SenderUser(m_route.channel));
    if (std::exchange(m_ullPackets, packets) != packets) m_pDirect->OnSignOfLife(now);
}

void CReceivePaths::PollRelay(uint64_t now) {
    if (m_bDirectMissed)
        m_bTaken = m_pRelay->Poll(now) || m_bTaken;
    else if (m_pRelay->IsUp())
        m_pRelay->Suspend();
}

bool CReceivePaths::Pop(std::string& frame) {
    while (m_pActive != m_pDirect.get() && m_directInbox.Pop(frame)) {}
    while (m_pActive != m_pRelay.get() && m_relayInbox.Pop(frame)) {}
    return m_directInbox.Pop(frame) || m_relayInbox.Pop(frame);
}

void CReceivePaths::OnSignOfLife(uint64_t now) {
    if (m_pActive) m_pActive->OnSignOfLife(now);
}

void CReceivePaths::Close() {
    if (m_pDirect) m_pDirect->Close();
    if (m_pRelay) m_pRelay->Close();
}

std::string CReceivePaths::PathText() const {
    if (!m_pActive) return "";
    return m_pActive == m_pRelay.get() ? m_route.PathText() : m_host.PathTo(SenderUser(m_route.channel), m_bTcpPeers);
}

int CReceivePaths::Remakes() const {
    return (m_pDirect ? m_pDirect->Remakes() : 0) + (m_pRelay ? m_pRelay->Remakes() : 0);
}

void CReceivePaths::Send(const char* data, int length) {
    if (m_pActive) m_pActive->Send(data, length);
}

}  // namespace lumo
