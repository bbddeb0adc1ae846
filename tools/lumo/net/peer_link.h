// A file channel at the sender's own host.
#pragma once

#include "tools/lumo/net/channel_link.h"
#include "tools/lumo/net/path_choice.h"

#include <string>
#include <vector>

namespace lumo {

/// Whose channel, and over what. The way there is the peer-to-peer manager's to find.
struct PeerRoute {
    uint32_t userID = 0;
    uint32_t channel = 0;
    bool tcp = false;
};

/// A receiver's side of the direct path.
class CPeerLink : public CChannelLink, private IFileReceiverNotify {
public:
    CPeerLink(const PeerRoute& route, CInbox& inbox, const LinkTimes& times);
    ~CPeerLink() override;

private:
    bool Create() override;
    bool IsDisconnected() override;
    void Release() override;
    /// The peer is found, and can be asked for its channel.
    bool HasNews() const override;
    LinkSigns Signs() const override;
    void OnFileReceiverNotifyData(const char* data, int length) override { Inbox().Push(data, length); }
    void OnFileReceiverNotifyConnected(unsigned long ip) override { Accept(ip); }

    const PeerRoute m_route;
    IFileReceiver* m_pReceiver = nullptr;
};

/// The sender's side: a channel of this host to which peers come by themselves.
class CPeerChannel final : public ILinkOut {
public:
    CPeerChannel(uint32_t channel, CInbox& inbox);
    ~CPeerChannel();
    CPeerChannel(const CPeerChannel&) = delete;
    CPeerChannel& operator=(const CPeerChannel&) = delete;

    /// True when somebody has come since the last call.
    bool Poll();
    /// "direct ADDRESS:PORT" of those who are there over TCP, of which the peer-to-peer manager knows nothing.
    std::vector<std::string> TcpPeers() const;

    bool Ready() const override { return m_nPeers > 0; }
    uint32_t Queued() const override;
    using ILinkOut::Send;
    void Send(const char* data, int length) override;

private:
    const uint32_t m_ulChannel;
    mutable CPublishChannel m_channel;  // the library's counters are not const
    unsigned long m_nPeers = 0;
};

}  // namespace lumo
