// The ways by which the boards of a channel come together.
#pragma once

#include "tools/lumo/board/board_link.h"
#include "tools/lumo/board/board_seat.h"
#include "tools/lumo/net/loop.h"
#include "tools/lumo/net/path_choice.h"
#include "tools/lumo/net/peer_host.h"

#include <cstdint>
#include <memory>
#include <string>

namespace lumo {

/// Through the relay every board is the server's guest. Directly, the board that is first to register under the
/// channel's number is the host, and the others are its guests; when it goes, one of them takes its place. It stays so
/// while the server is away, for direct paths need none. Where both are wanted the host is the server's guest as well.
/// One thread: the loop's.
class CBoardPaths {
public:
    CBoardPaths(PathChoice choice, const RelayRoute& route, const PeerOptions& peers, CBoard& board);
    ~CBoardPaths();
    CBoardPaths(const CBoardPaths&) = delete;
    CBoardPaths& operator=(const CBoardPaths&) = delete;

    /// False when this process cannot have an endpoint.
    bool Ok() const { return m_pHost && m_pHost->Ok(); }
    /// True when there is more to do at once.
    bool Poll(uint64_t now);
    /// Gives what was said last a moment to get out, and ends.
    void Leave(CToolLoop& loop);

    BoardStatus Status() const;
    int WakeFd() const { return m_wake.Fd(); }
    void Rest() { m_wake.Rest(); }

    static constexpr uint64_t kDirectMs = 6000;  ///< how long a guest looks for its host

private:
    enum class Role {
        Candidate,  ///< tries to register as the host
        Host,
        Guest,
    };

    void Close();
    void Begin(Role role, uint64_t now);
    void PollRole(uint64_t now);
    void PollGuest(uint64_t now);
    void PollLink(uint64_t now);
    void MakeLink(bool direct);
    void OnTaken(uint64_t now);
    void OnLost(uint64_t now);
    void OnReplaced(uint64_t now);

    const PathChoice m_choice;
    const RelayRoute m_route;
    const PeerOptions m_peers;
    CBoard& m_board;
    CWake m_wake;
    CInbox m_inbox;
    std::unique_ptr<CPeerHost> m_pHost;
    std::unique_ptr<CBoardSeat> m_pSeat;
    std::unique_ptr<CBoardLink> m_pLink;  // null: nobody's guest
    Role m_role = Role::Guest;
    bool m_bDirect = false;  // the link is to a peer
    bool m_bTaken = false;
    bool m_bServes = false;  // a host whose channel is the board of those who came to it, whatever becomes of the link
    uint64_t m_ullRoleMs = 0;  // since when
};

}  // namespace lumo
