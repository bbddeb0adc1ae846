// A file channel at a relay server.
#pragma once

#include "tools/lumo/net/channel_link.h"
#include "tools/lumo/net/link_signs.h"
#include "tools/lumo/net/relay_route.h"

namespace lumo {

/// The sender's side: frames go down to all subscribers, the inbox gets what they send up.
class CPublishLink : public CChannelLink, private IFileSenderNotify {
public:
    CPublishLink(const RelayRoute& route, CInbox& inbox);
    ~CPublishLink() override;

private:
    bool Create() override;
    bool IsDisconnected() override;
    LinkSigns Signs() const override { return SignsFrom(kFileKind, m_route.mcu, Answered()); }
    bool IsClaim() const override { return !m_route.tcp; }
    void Release() override;
    void OnFileSenderNotifyConnected(unsigned long ip, bool) override { Accept(ip); }

    const RelayRoute m_route;
    IFileSender* m_pSender = nullptr;
};

/// A receiver's side: frames go up to the publisher, the inbox gets what it sends down.
class CSubscribeLink : public CChannelLink, private IFileReceiverNotify {
public:
    CSubscribeLink(const RelayRoute& route, CInbox& inbox);
    ~CSubscribeLink() override;

private:
    bool Create() override;
    bool IsDisconnected() override { return m_pReceiver->IsDisconnected(); }
    LinkSigns Signs() const override { return SignsThrough(kFileKind, m_route, Answered()); }
    void Release() override;
    void OnFileReceiverNotifyData(const char* data, int length) override { Inbox().Push(data, length); }
    void OnFileReceiverNotifyConnected(unsigned long ip) override { Accept(ip); }

    const RelayRoute m_route;
    IFileReceiver* m_pReceiver = nullptr;
};

}  // namespace lumo
