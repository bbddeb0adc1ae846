// Says why nothing comes of a server, at the beginning and whenever it is lost.
#pragma once

#include "tools/lumo/net/server_check.h"
#include "tools/lumo/net/share_link.h"

#include <cstdint>
#include <optional>
#include <string>

namespace lumo {

/// One thread: the loop's.
class CServerWatch {
public:
    enum class News { None, Serving, Trouble };
    enum class Role { Publisher, Subscriber };

    /// The medium's channel that `route` names; everybody subscribes to a board.
    CServerWatch(const RelayRoute& route, LinkMedium medium, Role role);

    /// `served`: the server does what this program is there for; `taken`: it has at least answered what was asked of
    /// it, which one without room does not. News come once each.
    News Poll(uint64_t now, bool served, bool taken);
    /// The user has read the last news: what has not changed until the end is not said again.
    void NoteTold() { m_strTold = m_found.problem; }
    /// Finishes the look that goes on or is due; the trouble of who is not served.
    const ServerTrouble& Conclude();
    /// The last news; no fault while all is well.
    const ServerTrouble& Trouble() const { return m_trouble; }
    /// What there is to say of a server that serves; empty: nothing.
    std::string Praise() const;
    /// Whether the last news are bad ones: that nobody publishes yet is none of the server's making.
    bool IsComplaint() const;
    bool EverServed() const { return m_bEverServed; }
    /// Whether there is no point in waiting on.
    bool InVain() const { return !m_bEverServed && m_trouble.Lasts(); }

    static constexpr uint64_t kLookMs = 600;      ///< without service, before it looks
    static constexpr uint64_t kAnswersMs = 2700;  ///< a server that is there may need so long
    static constexpr uint64_t kAgainMs = 5000;

private:
    /// What the last look has shown, as this program's user reads it.
    ServerTrouble InWords(bool atTheEnd) const;
    std::string Unserved(bool atTheEnd) const;

    const RelayRoute m_route;
    const LinkMedium m_medium;
    const Role m_role;
    std::optional<CServerCheck> m_check;
    ServerTrouble m_found;    // by the last look
    ServerTrouble m_trouble;  // in this program's words
    std::string m_strTold;    // the problem as found that the user knows of
    bool m_bEverServed = false;
    bool m_bEverTaken = false;
    std::optional<uint64_t> m_unservedMs;  // since when
    uint64_t m_ullLookMs = 0;
};

}  // namespace lumo
