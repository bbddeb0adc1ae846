// The two ways from a subscriber to a publisher, straight and through the relay, and the choice between them.
#pragma once

#include "tools/lumo/net/link.h"
#include "tools/lumo/net/path_choice.h"
#include "tools/lumo/net/peer_host.h"
#include "tools/lumo/net/relay_route.h"

#include <memory>
#include <string>

namespace lumo {

enum class PathEvent {
    None,
    Ready,    ///< the same way, taken anew
    Changed,  ///< another way from here on
};

/// What the frames of a medium want of the switch.
struct PathRules {
    int maxFrame = 0;
    size_t inboxBytes = 0;
    LinkTimes times;  ///< of the relay's link, and of the direct one but for what the switch itself decides
    /// So long the relay still brings what was on its way when the direct path took over.
    uint64_t lingerMs = 0;
};

/// Makes the links of a medium. One thread: the loop's.
class IPathLinks {
public:
    virtual std::unique_ptr<CLink> MakeRelayLink(const RelayRoute& route, CInbox& inbox, const LinkTimes& times) = 0;
    /// Null: the medium does not know that way.
    virtual std::unique_ptr<CLink> MakeDirectLink(const RelayRoute& route, bool tcp, CInbox& inbox,
                                                  const LinkTimes& times) = 0;

protected:
    ~IPathLinks() = default;
};

/// The relay serves at once, until something has come directly, and again when that way has gone. While the two overlap
/// what either brings is taken: frames tell by themselves which they are. One thread: the loop's.
class CPathSwitch {
public:
    CPathSwitch(PathChoice choice, const RelayRoute& route, const PathRules& rules, IPathLinks& links, CPeerHost& host);

    PathEvent Poll(uint64_t now);
    bool Pop(std::string& frame);
    /// The frame popped last was the publisher's.
    void OnSignOfLife(uint64_t now);
    /// The frame popped last came by the link in use.
    bool CameByTheOneInUse() const { return m_pHeard == m_pActive; }
    void Close();

    /// Of the link in use; 0 without one.
    uint64_t ArrivedBytes() const { return m_pActive ? m_pActive->ArrivedBytes() : 0; }
    /// The link in use has been taken.
    bool Ready() const { return m_pActive && m_pActive->IsTaken(); }
    /// The link in use; null before there is one.
    CLink* Active() const { return m_pActive; }
    /// "direct ADDRESS:PORT", "relay HOST:PORT", or nothing.
    std::string PathText() const;
    int WakeFd() const { return m_wake.Fd(); }
    void Rest() { m_wake.Rest(); }
    int Remakes() const;

    static constexpr uint64_t kDirectMs = 5000;    ///< how long one direct attempt may take
    static constexpr uint64_t kAskAgainMs = 1500;  ///< a command to the publisher may have been lost

private:
    /// True when the far side has just taken us.
    bool PollDirect(uint64_t now);
    /// Something has come directly, or there is no other way.
    bool DirectServes() const;
    /// The direct link, just given up, has shown that there is no way, or no longer.
    bool IsInVain() const;
    void AskAgain(uint64_t now);
    bool PollRelay(uint64_t now);

    CPeerHost& m_host;
    const RelayRoute m_route;
    const uint64_t m_ullLingerMs;
    const bool m_bTcpPeers;
    CWake m_wake;
    CInbox m_directInbox;
    CInbox m_relayInbox;
    std::unique_ptr<CLink> m_pDirect;  // null: not wanted
    std::unique_ptr<CLink> m_pRelay;   // null: not wanted
    CLink* m_pActive = nullptr;        // one of the two
    CLink* m_pHeard = nullptr;         // by which the last frame came
    uint64_t m_ullAskedMs = 0;         // when the direct link asked the publisher last
    bool m_bDirectHeard = false;       // something has come by the direct link since it was taken
    bool m_bDirectMissed = true;       // there is none yet, or it has gone
    uint64_t m_ullRelayUntilMs = 0;    // while the direct one serves
};

}  // namespace lumo
