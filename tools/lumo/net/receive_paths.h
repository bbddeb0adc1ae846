// The ways by which a receiver reaches its sender, and the choice between them.
#pragma once

#include "tools/lumo/net/peer_host.h"
#include "tools/lumo/net/peer_link.h"
#include "tools/lumo/net/relay_link.h"

#include <memory>
#include <string>

namespace lumo {

enum class PathEvent {
    None,
    Ready,    ///< the same way, taken anew
    Changed,  ///< another way from here on
};

/// Goes directly while that works; in the relay's favour it gives up after 5 s without a direct path, and comes back
/// when a later attempt finds one. The engine sees one link. One thread: the loop's.
class CReceivePaths final : public ILinkOut {
public:
    CReceivePaths(PathChoice choice, const RelayRoute& route, CPeerHost& host, uint64_t now);

    PathEvent Poll(uint64_t now);
    /// A frame of the way in use; what comes by another is dropped, for it counts its blocks differently.
    bool Pop(std::string& frame);
    void OnSignOfLife(uint64_t now);
    void Close();

    /// "direct ADDRESS:PORT", "relay HOST:PORT", or nothing.
    std::string PathText() const;
    int WakeFd() const { return m_wake.Fd(); }
    void Rest() { m_wake.Rest(); }
    int Remakes() const;

    bool Ready() const override { return m_pActive && m_pActive->Ready(); }
    uint32_t Queued() const override { return m_pActive ? m_pActive->Queued() : 0; }
    using ILinkOut::Send;
    void Send(const char* data, int length) override;

    static constexpr uint64_t kDirectMs = 5000;    ///< how long the relay waits for a direct path
    static constexpr uint64_t kAskAgainMs = 1500;  ///< a command to the sender may have been lost

private:
    void PollDirect(uint64_t now);
    /// The direct link, just given up, has shown that there is no way, or no longer.
    bool IsInVain() const;
    void AskAgain(uint64_t now);
    void LookForLife(uint64_t now);
    void PollRelay(uint64_t now);

    CPeerHost& m_host;
    const RelayRoute m_route;
    const bool m_bTcpPeers;
    const uint64_t m_ullDirectUntilMs;
    CWake m_wake;
    CInbox m_directInbox;
    CInbox m_relayInbox;
    std::unique_ptr<CPeerLink> m_pDirect;      // null: not wanted
    std::unique_ptr<CSubscribeLink> m_pRelay;  // null: not wanted
    CChannelLink* m_pActive = nullptr;         // one of the two
    uint64_t m_ullLookedMs = 0;
    uint64_t m_ullPackets = 0;     // of the direct link, when last looked at
    uint64_t m_ullAskedMs = 0;     // when the direct link asked the sender last
    bool m_bDirectMissed = false;  // there is none, or it has gone
    bool m_bTaken = false;         // the active one was taken in this round
};

}  // namespace lumo
