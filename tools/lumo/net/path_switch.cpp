#include "tools/lumo/net/path_switch.h"

namespace lumo {
namespace {

/// After a few quick attempts there is no hurry where the relay serves meanwhile.
LinkTimes DirectTimes(PathChoice choice, LinkTimes times) {
    times.unaccepted = CPathSwitch::kDirectMs;
    if (choice == PathChoice::Auto) times.pauses = {200, 500, 1000, 10000, 30000, 60000};
    return times;
}

}  // namespace

CPathSwitch::CPathSwitch(PathChoice choice, const RelayRoute& route, const PathRules& rules, IPathLinks& links,
                         CPeerHost& host)
    : m_host(host),
      m_route(route),
      m_ullLingerMs(rules.lingerMs),
      m_bTcpPeers(PeersOverTcp(choice, route.tcp)),
      m_directInbox(m_wake, rules.maxFrame, rules.inboxBytes),
      m_relayInbox(m_wake, rules.maxFrame, rules.inboxBytes) {
    if (UsesPeers(choice))
        m_pDirect = links.MakeDirectLink(route, m_bTcpPeers, m_directInbox, DirectTimes(choice, rules.times));
    if (UsesRelay(choice)) m_pRelay = links.MakeRelayLink(route, m_relayInbox, rules.times);
}

PathEvent CPathSwitch::Poll(uint64_t now) {
    m_host.Poll(now);
    const bool directTaken = m_pDirect && PollDirect(now);
    const bool relayTaken = m_pRelay && PollRelay(now);
    CLink* next = nullptr;
    if (DirectServes())
        next = m_pDirect.get();
    else if (m_pRelay && m_pRelay->IsTaken())
        next = m_pRelay.get();
    if (next && next == m_pActive)
        return (next == m_pRelay.get() ? relayTaken : directTaken) ? PathEvent::Ready : PathEvent::None;
    if (!next) return PathEvent::None;
    m_pActive = next;
    return PathEvent::Changed;
}

bool CPathSwitch::PollDirect(uint64_t now) {
    const bool wasUp = m_pDirect->IsUp();
    const bool taken = (wasUp || m_host.Ready()) && m_pDirect->Poll(now);
    const bool givenUp = wasUp && !m_pDirect->IsUp();
    if (!wasUp) m_ullAskedMs = now;
    // A sender that has begun anew has another port, and over TCP the library keeps to the addresses that it knows.
    if (givenUp && m_bTcpPeers) m_host.Call(SenderUser(m_route.channel));
    if (m_pDirect->IsUp() && !m_pDirect->IsTaken() && now - m_ullAskedMs >= kAskAgainMs) AskAgain(now);
    m_bDirectHeard = m_bDirectHeard && m_pDirect->IsTaken();
    if (m_pDirect->IsTaken())
        m_bDirectMissed = m_bDirectMissed && !DirectServes();
    else if ((givenUp && IsInVain()) || m_host.Refused())
        m_bDirectMissed = true;
    return taken;
}

bool CPathSwitch::DirectServes() const { return m_pDirect && m_pDirect->IsTaken() && (m_bDirectHeard || !m_pRelay); }

// A request or its answer may also have been lost, which the next attempt tries again.
bool CPathSwitch::IsInVain() const {
    return m_pDirect->EverTaken() || CPeerHost::StateOf(SenderUser(m_route.channel)) == PeerState::Failed;
}

// The library asks once, and the signalling service drops what is for somebody who is not there yet.
void CPathSwitch::AskAgain(uint64_t now) {
    const uint32_t sender = SenderUser(m_route.channel);
    const PeerState state = CPeerHost::StateOf(sender);
    m_ullAskedMs = now;
    if (m_bTcpPeers && state == PeerState::Unknown)
        m_pDirect->Suspend();  // the next one asks
    else if (!m_bTcpPeers && state != PeerState::Connected)
        m_host.Call(sender);
}

bool CPathSwitch::PollRelay(uint64_t now) {
    if (m_bDirectMissed) m_ullRelayUntilMs = now + m_ullLingerMs;
    if (m_bDirectMissed || now < m_ullRelayUntilMs) return m_pRelay->Poll(now);
    if (m_pRelay->IsUp()) m_pRelay->Suspend();
    return false;
}

bool CPathSwitch::Pop(std::string& frame) {
    m_pHeard = m_pDirect.get();
    if (m_directInbox.Pop(frame)) return true;
    m_pHeard = m_pRelay.get();
    return m_relayInbox.Pop(frame);
}

void CPathSwitch::OnSignOfLife(uint64_t now) {
    if (!m_pHeard) return;
    m_pHeard->OnSignOfLife(now);
    if (m_pHeard == m_pDirect.get()) m_bDirectHeard = true;
}

void CPathSwitch::Close() {
    if (m_pDirect) m_pDirect->Close();
    if (m_pRelay) m_pRelay->Close();
}

std::string CPathSwitch::PathText() const {
    if (!m_pActive) return "";
    return m_pActive == m_pRelay.get() ? m_route.PathText() : m_host.PathTo(SenderUser(m_route.channel), m_bTcpPeers);
}

int CPathSwitch::Remakes() const {
    return (m_pDirect ? m_pDirect->Remakes() : 0) + (m_pRelay ? m_pRelay->Remakes() : 0);
}

}  // namespace lumo
