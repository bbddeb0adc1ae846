#include "tools/lumo/net/channel_link.h"

namespace lumo {

CChannelLink::CChannelLink(CInbox& inbox, const LinkTimes& times) : m_inbox(inbox), m_times(times), m_policy(times) {}

CChannelLink::~CChannelLink() = default;

void CChannelLink::OpenChannel(std::unique_ptr<CFileChannel> channel) {
    m_pChannel = std::move(channel);
    m_pChannel->Connect();
}

void CChannelLink::CloseChannel() {
    m_pChannel->ReleaseConnections();
    m_pChannel.reset();
}

bool CChannelLink::Poll(uint64_t now) {
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
            m_inbox.TakeAccepted();
            return false;
    }
    return accepted;
}

void CChannelLink::Suspend() {
    if (m_bClosed) return;
    Release();
    m_inbox.TakeAccepted();  // one of the released connection means nothing any more
    m_policy = CLinkPolicy(m_times);
    m_bLost = false;
}

void CChannelLink::Close() {
    if (m_bClosed) return;
    m_bClosed = true;
    Release();
}

uint32_t CChannelLink::Queued() const { return static_cast<uint32_t>(m_pChannel->GetBufferingFrameCount()); }

void CChannelLink::Send(const char* data, int length) { m_pChannel->OnFileChannelData(data, length); }

}  // namespace lumo
