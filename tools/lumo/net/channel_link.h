// A local file channel and what is made on it: polled, given up and made anew.
#pragma once

#include "tools/lumo/net/inbox.h"
#include "tools/lumo/transfer/link_out.h"
#include "tools/lumo/transfer/link_policy.h"

#include <lumomedia/file.h>

#include <cstdint>
#include <memory>

namespace lumo {

/// The publisher's channel: what subscribers send goes to the inbox.
class CPublishChannel : public CFileChannel {
public:
    CPublishChannel(uint32_t id, CInbox& inbox) : CFileChannel(id), m_inbox(inbox) {}
    void OnFileSinkData(const void* data, int length) override { m_inbox.Push(data, length); }

private:
    CInbox& m_inbox;
};

/// A receiver's local channel only carries frames up; nobody is to subscribe to it.
class CUpstreamChannel : public CFileChannel {
public:
    using CFileChannel::CFileChannel;
    void OnFileSinkData(const void*, int) override {}
};

/// What publishing and subscribing have in common. One thread: the loop's.
class CChannelLink : public ILinkOut {
public:
    CChannelLink(CInbox& inbox, const LinkTimes& times);
    virtual ~CChannelLink();
    CChannelLink(const CChannelLink&) = delete;
    CChannelLink& operator=(const CChannelLink&) = delete;

    /// Makes, polls and gives up the connection as it is time. True when the far side has just taken us.
    bool Poll(uint64_t now);
    void OnSignOfLife(uint64_t now) { m_policy.OnSignOfLife(now); }
    /// Says the library's goodbye; the next Poll makes it anew.
    void Suspend();
    /// The same for good.
    void Close();
    /// Whether the far side has ever taken us.
    bool EverTaken() const { return m_bEverTaken; }
    int Remakes() const { return m_nMade > 0 ? m_nMade - 1 : 0; }
    bool IsUp() const { return m_policy.IsUp(); }

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
    CInbox& Inbox() { return m_inbox; }
    /// The channel lives longer than what is made on it: the derived class ends both in its destructor.
    void OpenChannel(std::unique_ptr<CFileChannel> channel);
    void CloseChannel();

private:
    CInbox& m_inbox;
    const LinkTimes m_times;
    std::unique_ptr<CFileChannel> m_pChannel;
    CLinkPolicy m_policy;
    bool m_bLost = false;
    bool m_bClosed = false;
    uint64_t m_ullPolledMs = 0;
    int m_nMade = 0;
    bool m_bEverTaken = false;
};

}  // namespace lumo
