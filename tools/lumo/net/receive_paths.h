// The ways by which a file's receiver reaches its sender.
#pragma once

#include "tools/lumo/net/channel_link.h"
#include "tools/lumo/net/path_switch.h"

#include <string>

namespace lumo {

/// The engine sees one link: the one that the switch has in use. One thread: the loop's.
class CReceivePaths final : public ILinkOut, private IPathLinks {
public:
    CReceivePaths(PathChoice choice, const RelayRoute& route, CPeerHost& host);

    CPathSwitch& Paths() { return m_paths; }
    const CPathSwitch& Paths() const { return m_paths; }

    bool Ready() const override { return m_paths.Ready(); }
    uint32_t Queued() const override { return Active() ? Active()->Queued() : 0; }
    using ILinkOut::Send;
    void Send(const char* data, int length) override;

private:
    std::unique_ptr<CLink> MakeRelayLink(const RelayRoute& route, CInbox& inbox, const LinkTimes& times) override;
    std::unique_ptr<CLink> MakeDirectLink(const RelayRoute& route, bool tcp, CInbox& inbox,
                                          const LinkTimes& times) override;
    /// All links made here are of that kind.
    CChannelLink* Active() const { return static_cast<CChannelLink*>(m_paths.Active()); }

    CPathSwitch m_paths;
};

}  // namespace lumo
