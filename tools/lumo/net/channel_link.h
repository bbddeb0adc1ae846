// A local file channel and what is made on it.
#pragma once

#include "tools/lumo/net/link.h"
#include "tools/lumo/transfer/link_out.h"

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

/// A link that carries an engine's frames over a file channel.
class CChannelLink : public CLink, public ILinkOut {
public:
    using CLink::CLink;

    bool Ready() const override { return IsTaken(); }
    uint32_t Queued() const override;
    using ILinkOut::Send;
    void Send(const char* data, int length) override;

protected:
    /// The channel lives longer than what is made on it: the derived class ends both in its destructor.
    void OpenChannel(std::unique_ptr<CFileChannel> channel);
    void CloseChannel();

private:
    std::unique_ptr<CFileChannel> m_pChannel;
};

}  // namespace lumo
