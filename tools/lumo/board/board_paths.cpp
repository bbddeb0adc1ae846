#include "tools/lumo/board/board_paths.h"

namespace lumo {

CBoardPaths::CBoardPaths(PathChoice choice, const RelayRoute& route, const PeerOptions& peers, CBoard& board)
    : m_choice(choice), m_route(route), m_peers(peers), m_board(board), m_inbox(m_wake, 0, 0) {
    Begin(UsesPeers(choice) ? Role::Candidate : Role::Guest, CToolLoop::Now());
}

CBoardPaths::~CBoardPaths() { Close(); }

void CBoardPaths::Close() {
    m_pLink.reset();
    m_pSeat.reset();
    m_pHost.reset();
}

void CBoardPaths::Leave(CToolLoop& loop) {
    constexpr uint64_t kGoodbyeMs = 150;
    if (m_bTaken || m_role == Role::Host) loop.Wait(-1, kGoodbyeMs);
    Close();
}

// The number under which a process is known is given once, so another role needs everything anew.
void CBoardPaths::Begin(Role role, uint64_t now) {
    Close();
    m_role = role;
    m_ullRoleMs = now;
    m_bTaken = m_bDirect = m_bServes = false;
    PeerOptions peers = m_peers;
    peers.userID = role == Role::Candidate ? SenderUser(m_route.channel) : static_cast<uint32_t>(RandomID() >> 32) | 1U;
    m_pHost = std::make_unique<CPeerHost>(peers);
    m_pSeat = std::make_unique<CBoardSeat>(m_route.channel, m_board, m_wake);
    if (!UsesPeers(m_choice)) MakeLink(false);
}

void CBoardPaths::MakeLink(bool direct) {
    m_pLink.reset();
    m_bDirect = direct;
    if (direct)
        m_pLink = std::make_unique<CBoardPeerLink>(
            PeerRoute{SenderUser(m_route.channel), m_route.channel, PeersOverTcp(m_choice, m_route.tcp)}, m_inbox);
    else
        m_pLink = std::make_unique<CBoardRelayLink>(m_route, m_inbox);
}

bool CBoardPaths::Poll(uint64_t now) {
    m_pHost->Poll(now);
    if (UsesPeers(m_choice)) PollRole(now);
    PollLink(now);
    const bool more = m_pSeat->Turn(now);
    m_board.SetStatus(Status());
    m_board.Tick(now);
    return more;
}

void CBoardPaths::PollRole(uint64_t now) {
    if (m_role == Role::Guest) return PollGuest(now);
    if (m_role == Role::Host) {
        if (m_pHost->Replaced()) OnReplaced(now);
        return;
    }
    if (m_pHost->Ready()) {
        m_role = Role::Host;
        m_ullRoleMs = now;
        m_bServes = !UsesRelay(m_choice);
        if (m_bServes)
            m_board.GoOnlineAsHost(now);
        else
            MakeLink(false);
    } else if (m_pHost->Refused() || (UsesRelay(m_choice) && now - m_ullRoleMs > kDirectMs)) {
        Begin(Role::Guest, now);
    }
}

void CBoardPaths::PollGuest(uint64_t now) {
    const bool waited = now - m_ullRoleMs > kDirectMs;
    if (!m_pLink) {
        if (m_pHost->Ready())
            MakeLink(true);
        else if (waited && UsesRelay(m_choice))
            MakeLink(false);
        return;
    }
    if (!m_bDirect || m_bTaken || !waited) return;
    // There is no host, or no way to him.
    if (UsesRelay(m_choice))
        MakeLink(false);
    else
        Begin(Role::Candidate, now);
}

void CBoardPaths::PollLink(uint64_t now) {
    if (!m_pLink) return;
    if (m_pLink->Poll(now)) OnTaken(now);
    m_pLink->LookForLife(now);
    if (m_bTaken && !m_pLink->IsTaken()) OnLost(now);
}

void CBoardPaths::OnTaken(uint64_t now) {
    m_bTaken = true;
    m_board.GoOnline(now, !m_bDirect && !m_route.nearMcu.Empty());
}

// The far side may have lost what this channel still holds: the next connection begins on an empty one. Only those who
// have come to us directly keep it: they lose nothing when we lose the server.
void CBoardPaths::OnLost(uint64_t now) {
    const bool direct = m_bDirect;
    m_bTaken = false;
    m_pLink.reset();
    m_bServes = m_role == Role::Host && m_pSeat->Others() > 0;
    if (m_bServes) {
        m_board.LiveApart();
        return MakeLink(false);
    }
    m_board.GoOffline();
    m_pSeat.reset();
    m_pSeat = std::make_unique<CBoardSeat>(m_route.channel, m_board, m_wake);
    if (direct)
        Begin(Role::Candidate, now);
    else
        MakeLink(false);
}

void CBoardPaths::OnReplaced(uint64_t now) {
    if (m_bTaken)
        m_board.GoOffline();
    else
        m_board.GoOfflineAsHost();
    Begin(Role::Guest, now);
}

BoardStatus CBoardPaths::Status() const {
    if (m_bServes && !m_bTaken) {
        const std::string at = m_pHost->Public().Text();
        return {true, "direct, peers come to " + at};
    }
    const bool direct = m_pLink ? m_bDirect : UsesPeers(m_choice);
    if (direct && !m_bTaken) return {false, "direct"};
    return {m_bTaken, direct ? m_pHost->PathTo(SenderUser(m_route.channel), PeersOverTcp(m_choice, m_route.tcp))
                             : m_route.PathText()};
}

}  // namespace lumo
