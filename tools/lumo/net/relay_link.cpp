#include "tools/lumo/net/relay_link.h"

namespace lumo {
namespace {

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

}  // namespace

CRelayLink::CRelayLink(const RelayRoute& route, CInbox& inbox) : m_route(route), m_inbox(inbox) {}

CRelayLink::~CRelayLink() = default;

void CRelayLink::OpenChannel(std::unique_ptr<CFileChannel> channel) {
    m_pChannel = std::move(channel);
    m_pChannel->Connect();
}

void CRelayLink::CloseChannel() {
    m_pChannel->ReleaseConnections();
    m_pChannel.reset();
}

bool CRelayLink::Poll(uint64_t now) {
    if (m_bClosed) return false;
    const bool accepted = m_inbox.TakeAccepted() && m_policy.IsUp();
    if (accepted) {
        m_policy.OnAccepted(now);
        m_bEverTaken = true;
    }
    if (m_policy.IsUp() && !m_bLost && now - m_ullPolledMs >= kPollMs) {
        m_ullPolledMs = now;
        m_bLost = IsDisconnected();
    }
    switch (m_policy.Poll(now, m_bLost)) {
        case LinkAction::None:
            break;
        case LinkAction::Create:
            m_ullPolledMs = now;
            m_bLost = !Create();
            ++m_nMade;
            break;
        case LinkAction::Release:
            Release();
            m_inbox.TakeAccepted();  // one of the released connection means nothing any more
            return false;
    }
    return accepted;
}

void CRelayLink::Close() {
    if (m_bClosed) return;
    m_bClosed = true;
    Release();
}

uint32_t CRelayLink::Queued() const { return static_cast<uint32_t>(m_pChannel->GetBufferingFrameCount()); }

void CRelayLink::Send(const char* data, int length) { m_pChannel->OnFileChannelData(data, length); }

CPublishLink::CPublishLink(const RelayRoute& route, CInbox& inbox) : CRelayLink(route, inbox) {
    OpenChannel(std::make_unique<CPublishChannel>(route.channel, inbox));
}

CPublishLink::~CPublishLink() {
    Close();
    CloseChannel();
}

bool CPublishLink::Create() {
    const RelayRoute& to = Route();
    const auto& ips = to.mcu.ips;
    m_pSender = to.tcp ? CreateFileSenderTCP(*this, to.channel, ips[0], ips[1], ips[2], to.mcu.port,
                                             static_cast<int>(to.proxy.type), to.proxy.host.c_str(), to.proxy.port,
                                             to.proxy.user.c_str(), to.proxy.password.c_str())
                       : CreateFileSenderUDP(*this, to.channel, ips[0], ips[1], ips[2], to.mcu.port);
    return m_pSender != nullptr;
}

void CPublishLink::Release() {
    if (m_pSender) m_pSender->ReleaseConnections();
    m_pSender = nullptr;
}

CSubscribeLink::CSubscribeLink(const RelayRoute& route, CInbox& inbox) : CRelayLink(route, inbox) {
    OpenChannel(std::make_unique<CUpstreamChannel>(route.channel));
}

CSubscribeLink::~CSubscribeLink() {
    Close();
    CloseChannel();
}

bool CSubscribeLink::Create() {
    const RelayRoute& to = Route();
    const auto& far = to.mcu.ips;
    const auto& near = to.nearMcu.ips;
    m_pReceiver =
        to.tcp ? CreateFileReceiverTCP(*this, to.channel, far[0], far[1], far[2], to.mcu.port, near[0], near[1],
                                       near[2], to.nearMcu.port, static_cast<int>(to.proxy.type), to.proxy.host.c_str(),
                                       to.proxy.port, to.proxy.user.c_str(), to.proxy.password.c_str())
               : CreateFileReceiverUDP(*this, to.channel, far[0], far[1], far[2], to.mcu.port, near[0], near[1],
                                       near[2], to.nearMcu.port, to.nearMcu.Empty());
    return m_pReceiver != nullptr;
}

void CSubscribeLink::Release() {
    if (m_pReceiver) m_pReceiver->ReleaseConnections();
    m_pReceiver = nullptr;
}

}  // namespace lumo
