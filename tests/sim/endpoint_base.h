// What the endpoints over both transports have in common.
#pragma once

#include "lumomedia/p2p.h"
#include "sim/endpoint.h"
#include "support/medium_wire.h"
#include "support/p2p_peer.h"

#include <algorithm>
#include <climits>
#include <optional>

namespace endpoints {

using session_wire::ReadU32;
using session_wire::U32;

inline constexpr uint32_t kChannelID = CMediumApp::kChannelID;
inline constexpr uint32_t kSinkID = 600;  // as the server numbers it
inline constexpr int kNever = INT_MAX;
inline const CMcuAddress kServer{{CTestHost::kPeerIP, 0, 0}, CTestHost::kPeerPort};

class CEndpoint : public IEndpoint {
public:
    CEndpoint(CTestHost& host, const CTestMedium& medium)
        : m_host(host), m_row(medium.row), m_pApp(medium.make(kChannelID)) {}
    CMediumApp& App() override { return *m_pApp; }
    bool IsDisconnected() override { return m_made.IsDisconnected(); }
    uint32_t Buffering() override { return m_pApp->Buffering(); }
    bool TryRelease() override {
        if (m_made) m_made.AskForRelease();
        return static_cast<bool>(m_made);
    }
    void Release() override { m_made.Release(); }

protected:
    CTestHost& m_host;
    const CMediumRow& m_row;
    const std::unique_ptr<CMediumApp> m_pApp;
    CMade m_made;  // nothing: a sink
};

/// How a receiver comes to its channel: at a server, at the publisher's alone, or at a peer, which it waits for or
/// asks.
enum class Way { Server, PublishersOnly, Waiting, Asking };

template <class TEndpoint, class... TArguments>
auto Make(const CTestMedium& medium, TArguments... arguments) {
    return [&medium, arguments...](CTestHost& host) -> std::unique_ptr<IEndpoint> {
        return std::make_unique<TEndpoint>(host, medium, arguments...);
    };
}

}  // namespace endpoints
