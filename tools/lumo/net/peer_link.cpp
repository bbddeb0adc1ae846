#include "tools/lumo/net/peer_link.h"

#include "file/local_mcu_file.h"
#include "tools/lumo/net/peer_host.h"

#include <utility>

namespace lumo {

CPeerLink::CPeerLink(const PeerRoute& route, CInbox& inbox, const LinkTimes& times)
    : CChannelLink(inbox, times), m_route(route) {
    OpenChannel(std::make_unique<CUpstreamChannel>(route.channel));
}

CPeerLink::~CPeerLink() {
    Close();
    CloseChannel();
}

bool CPeerLink::Create() {
    m_pReceiver = m_route.tcp ? CreateFileReceiverP2PTCP(*this, m_route.channel, m_route.userID)
                              : CreateFileReceiverP2P(*this, m_route.channel, m_route.userID);
    return m_pReceiver != nullptr;
}

bool CPeerLink::IsDisconnected() {
    return m_pReceiver->IsDisconnected() || (!m_route.tcp && CPeerHost::InVain(m_route.userID, Ready()));
}

bool CPeerLink::HasNews() const {
    if (IsTaken()) return false;
    const PeerState state = CPeerHost::StateOf(m_route.userID);
    return m_route.tcp ? state != PeerState::Unknown : state == PeerState::Connected;
}

LinkSigns CPeerLink::Signs() const { return CPeerHost::SignsFrom(m_route.userID); }

void CPeerLink::Release() {
    if (m_pReceiver) m_pReceiver->ReleaseConnections();
    m_pReceiver = nullptr;
}

CPeerChannel::CPeerChannel(uint32_t channel, CInbox& inbox) : m_ulChannel(channel), m_channel(channel, inbox) {
    m_channel.Connect();
}

CPeerChannel::~CPeerChannel() { m_channel.ReleaseConnections(); }

bool CPeerChannel::Poll() {
    const unsigned long before = std::exchange(m_nPeers, m_channel.GetFileSinkCount());
    return m_nPeers > before;
}

std::vector<std::string> CPeerChannel::TcpPeers() const {
    std::vector<std::string> peers;
    CLocalMCUFile* const files = GetLocalMCUFile();
    if (!files) return peers;
    for (CMcuSink& sink : files->Tables().sinks.Each()) {
        const CSinkInfo info = sink.Info();
        if (info.tcp && info.channel == m_ulChannel) peers.push_back(DirectText({info.ip, info.port}));
    }
    return peers;
}

uint32_t CPeerChannel::Queued() const { return static_cast<uint32_t>(m_channel.GetBufferingFrameCount()); }

void CPeerChannel::Send(const char* data, int length) { m_channel.OnFileChannelData(data, length); }

}  // namespace lumo
