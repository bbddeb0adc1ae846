#include "tools/lumo/net/channel_link.h"

namespace lumo {

void CChannelLink::OpenChannel(std::unique_ptr<CFileChannel> channel) {
    m_pChannel = std::move(channel);
    m_pChannel->Connect();
}

void CChannelLink::CloseChannel() {
    m_pChannel->ReleaseConnections();
    m_pChannel.reset();
}

uint32_t CChannelLink::Queued() const { return static_cast<uint32_t>(m_pChannel->GetBufferingFrameCount()); }

void CChannelLink::Send(const char* data, int length) { m_pChannel->OnFileChannelData(data, length); }

}  // namespace lumo
