// What the library gives a publisher and a subscriber of a stream, whose media differ in names only.
#pragma once

#include "lumomedia/statistics.h"
#include "tools/lumo/net/link.h"
#include "tools/lumo/net/link_signs.h"
#include "tools/lumo/net/path_choice.h"
#include "tools/lumo/net/peer_host.h"
#include "tools/lumo/net/relay_route.h"

#include <poll.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>

namespace lumo {

/// Publishes a channel of this host at the relay server. `Medium` names the library's types and factories.
template <class Medium>
class CStreamPublishLink : public CLink, protected Medium::SenderNotify {
public:
    CStreamPublishLink(const RelayRoute& route, CInbox& inbox)
        : CLink(inbox, PublishTimes(route.tcp)), m_route(route) {}
    ~CStreamPublishLink() override { Close(); }

    /// How many the server says there are; 0 over TCP, where it does not.
    unsigned long ListenersThere() const { return m_pSender ? m_pSender->GetStartParam() : 0; }

protected:
    bool IsDisconnected() override { return m_pSender->IsDisconnected(); }
    LinkSigns Signs() const override { return SignsFrom(Medium::kKind, m_route.mcu, Answered()); }
    bool IsClaim() const override { return !m_route.tcp; }
    bool Create() override {
        const auto& ips = m_route.mcu.ips;
        const CProxyServer& proxy = m_route.proxy;
        m_pSender = m_route.tcp ? Medium::kSenderTCP(*this, m_route.channel, ips[0], ips[1], ips[2], m_route.mcu.port,
                                                     static_cast<int>(proxy.type), proxy.host.c_str(), proxy.port,
                                                     proxy.user.c_str(), proxy.password.c_str())
                                : Medium::kSenderUDP(*this, m_route.channel, ips[0], ips[1], ips[2], m_route.mcu.port);
        return m_pSender != nullptr;
    }

private:
    void Release() override {
        if (m_pSender) m_pSender->ReleaseConnections();
        m_pSender = nullptr;
    }
    void OnConnected(unsigned long ip) override { this->Accept(ip); }

    const RelayRoute m_route;
    typename Medium::Sender* m_pSender = nullptr;
};

/// Subscribes at the relay server or at the publisher's own host; the inbox gets the frames.
template <class Medium>
class CStreamSubscribeLink : public CLink, protected Medium::ReceiverNotify {
public:
    /// `peer`: at the host of the user that the channel's number names.
    CStreamSubscribeLink(bool peer, const RelayRoute& route, CInbox& inbox, const LinkTimes& times)
        : CStreamSubscribeLink(peer, route, route.channel, inbox, times) {}
    ~CStreamSubscribeLink() override { Close(); }

protected:
    /// The same to another channel of that publisher.
    CStreamSubscribeLink(bool peer, const RelayRoute& route, uint32_t channel, CInbox& inbox, const LinkTimes& times)
        : CLink(inbox, times), m_bPeer(peer), m_ulChannel(channel), m_route(route) {}

    typename Medium::Receiver* Receiver() const { return m_pReceiver; }
    bool IsPeer() const { return m_bPeer; }
    const RelayRoute& Route() const { return m_route; }

    LinkSigns Signs() const override {
        return m_bPeer ? CPeerHost::SignsFrom(SenderUser(m_route.channel))
                       : SignsFrom(Medium::kKind, m_route.Server(), Answered());
    }
    // A failed negotiation is over at once, not when its time is.
    bool IsDisconnected() override {
        return m_pReceiver->IsDisconnected() || (m_bPeer && CPeerHost::InVain(SenderUser(m_route.channel), IsTaken()));
    }
    bool Create() override {
        const auto& far = m_route.mcu.ips;
        const auto& near = m_route.nearMcu.ips;
        const CProxyServer& proxy = m_route.proxy;
        if (m_bPeer)
            m_pReceiver = Medium::kReceiverP2P(*this, m_ulChannel, SenderUser(m_route.channel));
        else if (m_route.tcp)
            m_pReceiver =
                Medium::kReceiverTCP(*this, m_ulChannel, far[0], far[1], far[2], m_route.mcu.port, near[0], near[1],
                                     near[2], m_route.nearMcu.port, 0, static_cast<int>(proxy.type), proxy.host.c_str(),
                                     proxy.port, proxy.user.c_str(), proxy.password.c_str());
        else
            m_pReceiver = Medium::kReceiverUDP(*this, m_ulChannel, far[0], far[1], far[2], m_route.mcu.port, near[0],
                                               near[1], near[2], m_route.nearMcu.port, 0);
        return m_pReceiver != nullptr;
    }

private:
    void Release() override {
        if (m_pReceiver) m_pReceiver->ReleaseConnections();
        m_pReceiver = nullptr;
    }
    void OnConnected(unsigned long ip) override { this->Accept(ip); }

    const bool m_bPeer;
    const uint32_t m_ulChannel;
    const RelayRoute m_route;
    typename Medium::Receiver* m_pReceiver = nullptr;
};

/// Who is there, as far as a publisher can know: the server says over UDP how many it has, and each peer is a sink of
/// the channel, as the link to the server is. `wanted`: anybody wants the stream now.
template <class Library>
std::string AudienceOf(const CStreamPublishLink<Library>* link, bool wanted, unsigned long sinks, const char* doing) {
    if (!wanted) return std::string("nobody ") + doing;
    const unsigned long own = link && link->IsUp() ? 1 : 0;
    const unsigned long known = (own ? link->ListenersThere() : 0) + (sinks - std::min(own, sinks));
    return (known > 0 ? std::to_string(known) : "somebody") + " " + doing;
}

/// Ends a channel of the library.
template <class Channel>
struct EndStreamChannel {
    void operator()(Channel* channel) const {
        channel->ReleaseConnections();
        delete channel;
    }
};
template <class Channel>
using StreamChannelPtr = std::unique_ptr<Channel, EndStreamChannel<Channel>>;

/// Waits until what was written into the channel is on its way to everybody, two seconds at most. The channel knows
/// what waits for its fastest link, and that over TCP; the links of `kind` tell the rest.
template <class Channel>
void DrainChannel(Channel& channel, unsigned char kind) {
    constexpr int kStepMs = 5, kMostSteps = 400;
    for (int i = 0; i < kMostSteps && (channel.GetBufferingFrameCount() > 0 || AnyWaits(kind)); ++i)
        poll(nullptr, 0, kStepMs);
}

}  // namespace lumo
