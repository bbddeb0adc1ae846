// The ways by which a sender serves its receivers.
#pragma once

#include "tools/lumo/net/peer_host.h"
#include "tools/lumo/net/peer_link.h"
#include "tools/lumo/net/relay_link.h"
#include "tools/lumo/net/sealed_link.h"
#include "tools/lumo/transfer/send_lane.h"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lumo {

inline constexpr size_t kRelayLane = 0;
inline constexpr size_t kDirectLane = 1;

/// A channel at the relay and one of this host, whichever are wanted. One thread: the loop's.
class CSendPaths {
public:
    CSendPaths(PathChoice choice, const RelayRoute& route, CPeerHost& host);

    /// Which lanes have somebody new.
    std::array<bool, kMaxLanes> Poll(uint64_t now);
    /// A frame from upstream and the lane it came by.
    bool Pop(std::string& frame, size_t& lane);
    void OnSignOfLife(size_t lane, uint64_t now);
    void Close();

    LaneLinks Links();
    /// The server has not taken us, or no longer.
    bool WaitsForServer() const { return m_pRelay ? !m_pRelay->IsServed() : !m_host.Ready(); }
    /// It has at least heard of us.
    bool EverClaimed() const { return m_pRelay && m_pRelay->EverTaken(); }
    /// "direct ADDRESS:PORT, ...", "relay HOST:PORT".
    std::string PathText(size_t lane) const;
    int WakeFd() const { return m_wake.Fd(); }
    void Rest() { m_wake.Rest(); }
    int Remakes() const { return m_pRelay ? m_pRelay->Remakes() : 0; }

private:
    CPeerHost& m_host;
    const RelayRoute m_route;
    CWake m_wake;
    CInbox m_relayInbox;
    CInbox m_directInbox;
    std::unique_ptr<CPublishLink> m_pRelay;                      // null: not wanted
    std::unique_ptr<CPeerChannel> m_pDirect;                     // null: not wanted
    std::vector<std::string> m_tcpPeers;                         // who have come over it so far
    std::array<std::optional<CSealedLink>, kMaxLanes> m_sealed;  // each leads out through one of those
};

}  // namespace lumo
