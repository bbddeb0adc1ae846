// A file channel at a relay server: made, polled, given up and made anew.
#pragma once

#include "tools/lumo/net/inbox.h"
#include "tools/lumo/net/proxy_url.h"
#include "tools/lumo/net/target.h"
#include "tools/lumo/transfer/link_out.h"
#include "tools/lumo/transfer/link_policy.h"

#include <lumomedia/file.h>
#include <lumomedia/local_mcu.h>

#include <cstdint>
#include <memory>

namespace lumo {

/// How to reach the other side.
struct RelayRoute {
    RelayTarget mcu;
    RelayTarget nearMcu;  ///< a server that relays from `mcu`; empty: none
    bool tcp = false;
    ProxySettings proxy;
    uint32_t channel = 0;
};

/// The library's part of this process.
class CLocalMcu {
public:
    CLocalMcu() : m_pManager(CreateLocalMcuMgr(0)) {}
    ~CLocalMcu() {
        if (m_pManager) m_pManager->ReleaseConnections();
    }
    CLocalMcu(const CLocalMcu&) = delete;
    CLocalMcu& operator=(const CLocalMcu&) = delete;
    bool Ok() const { return m_pManager != nullptr; }

private:
    ILocalMcuMgr* m_pManager;
};

/// What publishing and subscribing have in common. One thread: the loop's.
class CRelayLink : public ILinkOut {
public:
    CRelayLink(const RelayRoute& route, CInbox& inbox);
    virtual ~CRelayLink();
    CRelayLink(const CRelayLink&) = delete;
    CRelayLink& operator=(const CRelayLink&) = delete;

    /// Makes, polls and gives up the connection as it is time. True when the relay has just taken us.
    bool Poll(uint64_t now);
    void OnSignOfLife(uint64_t now) { m_policy.OnSignOfLife(now); }
    /// Says the library's goodbye. Nothing is made anew after it.
    void Close();
    /// Whether a relay has ever taken us.
    bool EverTaken() const { return m_bEverTaken; }
    int Remakes() const { return m_nMade > 0 ? m_nMade - 1 : 0; }

    bool Ready() const override { return m_policy.IsAccepted(); }
    uint32_t Queued() const override;
    using ILinkOut::Send;
    void Send(const char* data, int length) override;

    static constexpr uint64_t kPollMs = 1000;  // the library counts on it

protected:
    /// False when the library refuses.
    virtual bool Create() = 0;
    virtual bool IsDisconnected() = 0;
    virtual void Release() = 0;
    const RelayRoute& Route() const { return m_route; }
    CInbox& Inbox() { return m_inbox; }
    /// The channel lives longer than what is made on it: the derived class ends both in its destructor.
    void OpenChannel(std::unique_ptr<CFileChannel> channel);
    void CloseChannel();

private:
    const RelayRoute m_route;
    CInbox& m_inbox;
    std::unique_ptr<CFileChannel> m_pChannel;
    CLinkPolicy m_policy;
    bool m_bLost = false;
    bool m_bClosed = false;
    uint64_t m_ullPolledMs = 0;
    int m_nMade = 0;
    bool m_bEverTaken = false;
};

/// The sender's side: frames go down to all subscribers, the inbox gets what they send up.
class CPublishLink : public CRelayLink, private IFileSenderNotify {
public:
    CPublishLink(const RelayRoute& route, CInbox& inbox);
    ~CPublishLink() override;

private:
    bool Create() override;
    bool IsDisconnected() override { return m_pSender->IsDisconnected(); }
    void Release() override;
    void OnFileSenderNotifyConnected(unsigned long, bool) override { Inbox().Accept(); }

    IFileSender* m_pSender = nullptr;
};

/// A receiver's side: frames go up to the publisher, the inbox gets what it sends down.
class CSubscribeLink : public CRelayLink, private IFileReceiverNotify {
public:
    CSubscribeLink(const RelayRoute& route, CInbox& inbox);
    ~CSubscribeLink() override;

private:
    bool Create() override;
    bool IsDisconnected() override { return m_pReceiver->IsDisconnected(); }
    void Release() override;
    void OnFileReceiverNotifyData(const char* data, int length) override { Inbox().Push(data, length); }
    void OnFileReceiverNotifyConnected(unsigned long) override { Inbox().Accept(); }

    IFileReceiver* m_pReceiver = nullptr;
};

}  // namespace lumo
