// What the library makes of a board's channel and another one.
#pragma once

#include "tools/lumo/net/link.h"
#include "tools/lumo/net/peer_link.h"
#include "tools/lumo/net/relay_link.h"

#include <lumomedia/whiteboard.h>

#include <cstdint>

namespace lumo {

/// Needs the board's channel to be registered. The inbox gets no frames, only word of being taken.
class CBoardLink : public CLink, private IWBSessionClientNotify {
public:
    using CLink::CLink;

    /// The loop's thread, each turn: whether the far side lives. Messages arrive at the channel, so only the library's
    /// counters tell; a greeting every two seconds makes the far side acknowledge.
    void LookForLife(uint64_t now);
    /// How long before its end a link may have carried nothing without anybody noticing.
    virtual uint64_t UnsureMs() const = 0;

    static LinkTimes Times();

protected:
    virtual IWBSessionClient* MakeClient(::IWBSessionClientNotify& notify) = 0;
    /// Session packets that have come from the far side so far; 0 always when they are not counted.
    virtual uint64_t Packets() const = 0;

    static constexpr uint64_t kUdpUnsureMs = 12000;
    static constexpr uint64_t kTcpUnsureMs = 35000;  // TCP itself gives up after 30 s

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
    uint64_t UnsureMs() const override { return m_route.tcp ? kTcpUnsureMs : kUdpUnsureMs; }

protected:
    IWBSessionClient* MakeClient(::IWBSessionClientNotify& notify) override;

private:
    uint64_t Packets() const override;

    const RelayRoute m_route;
};

/// To the channel at another user's own host.
class CBoardPeerLink final : public CBoardLink {
public:
    CBoardPeerLink(const PeerRoute& route, CInbox& inbox) : CBoardLink(inbox, Times()), m_route(route) {}
    ~CBoardPeerLink() override { Close(); }
    uint64_t UnsureMs() const override { return m_route.tcp ? kTcpUnsureMs : kUdpUnsureMs; }

private:
    IWBSessionClient* MakeClient(::IWBSessionClientNotify& notify) override;
    uint64_t Packets() const override;

    const PeerRoute m_route;
};

}  // namespace lumo
