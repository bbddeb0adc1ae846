// What the library makes of a board's channel and another one.
#pragma once

#include "tools/lumo/net/link.h"
#include "tools/lumo/net/peer_link.h"
#include "tools/lumo/net/relay_link.h"

#include <lumomedia/statistics.h>
#include <lumomedia/whiteboard.h>

#include <cstdint>
#include <vector>

namespace lumo {

/// Needs the board's channel to be registered. The inbox gets no frames, only word of being taken.
class CBoardLink : public CLink, private IWBSessionClientNotify {
public:
    using CLink::CLink;

    /// The loop's thread, each turn: whether the far side lives. Messages arrive at the channel, so only the library's
    /// counters tell; a greeting every two seconds makes the far side acknowledge.
    void LookForLife(uint64_t now);
    static LinkTimes Times();

protected:
    virtual IWBSessionClient* MakeClient(::IWBSessionClientNotify& notify) = 0;
    /// The links with the far side. Empty over TCP, where nothing is counted.
    virtual std::vector<LumoLinkStatistics> Links() const = 0;
    virtual bool IsTcp() const = 0;

private:
    bool Create() override;
    bool IsDisconnected() override { return m_pClient->IsDisconnected(); }
    void Release() override;
    void OnWBSessionClientNotifyConnected(unsigned long) override { Inbox().Accept(); }

    IWBSessionClient* m_pClient = nullptr;
    uint64_t m_ullPackets = 0;
};

/// To a relay server.
class CBoardRelayLink : public CBoardLink {
public:
    CBoardRelayLink(const RelayRoute& route, CInbox& inbox, const LinkTimes& times = Times())
        : CBoardLink(inbox, times), m_route(route) {}
    ~CBoardRelayLink() override { Close(); }

protected:
    IWBSessionClient* MakeClient(::IWBSessionClientNotify& notify) override;

private:
    std::vector<LumoLinkStatistics> Links() const override;
    bool IsTcp() const override { return m_route.tcp; }

    const RelayRoute m_route;
};

/// To the channel at another user's own host.
class CBoardPeerLink final : public CBoardLink {
public:
    CBoardPeerLink(const PeerRoute& route, CInbox& inbox) : CBoardLink(inbox, Times()), m_route(route) {}
    ~CBoardPeerLink() override { Close(); }

private:
    IWBSessionClient* MakeClient(::IWBSessionClientNotify& notify) override;
    std::vector<LumoLinkStatistics> Links() const override;
    bool IsTcp() const override { return m_route.tcp; }

    const PeerRoute m_route;
};

}  // namespace lumo
