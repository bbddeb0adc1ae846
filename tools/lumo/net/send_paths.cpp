#include "tools/lumo/net/send_paths.h"

#include "tools/lumo/transfer/limits.h"

namespace lumo {
namespace {
constexpr size_t kInboxBytes = 8 * 1024 * 1024;
}

CSendPaths::CSendPaths(PathChoice choice, const RelayRoute& route, CPeerHost& host)
    : m_host(host),
      m_route(route),
      m_relayInbox(m_wake, kMaxUpstreamFrame + kSealOverhead, kInboxBytes),
      m_directInbox(m_wake, kMaxUpstreamFrame + kSealOverhead, kInboxBytes) {
    if (UsesRelay(choice)) m_pRelay = std::make_unique<CPublishLink>(route, m_relayInbox);
    if (UsesPeers(choice)) m_pDirect = std::make_unique<CPeerChannel>(DirectChannel(route.channel), m_directInbox);
    // The lanes' frames differ, and go on side by side: a sealer each, with one start.
    const LumoSealStream stream = {SEAL_FILE, SEAL_DOWN, route.channel};
    const unsigned long start = CSealer::StartNow();
    if (m_pRelay) m_sealed[kRelayLane].emplace(*m_pRelay, route.secret, stream, start);
    if (m_pDirect) m_sealed[kDirectLane].emplace(*m_pDirect, route.secret, stream, start);
}

std::array<bool, kMaxLanes> CSendPaths::Poll(uint64_t now) {
    constexpr size_t kMostTold = 64;
    m_host.Poll(now);
    const bool relay = m_pRelay && m_pRelay->Poll(now), direct = m_pDirect && m_pDirect->Poll();
    if (!direct) return {relay, direct};
    for (const std::string& path : m_pDirect->TcpPeers())
        if (m_tcpPeers.size() < kMostTold) PutPath(path, m_tcpPeers);
    return {relay, direct};
}

bool CSendPaths::Pop(std::string& frame, size_t& lane) {
    lane = kDirectLane;
    if (m_directInbox.Pop(frame)) return true;
    lane = kRelayLane;
    return m_relayInbox.Pop(frame);
}

void CSendPaths::OnSignOfLife(size_t lane, uint64_t now) {
    if (lane == kRelayLane && m_pRelay) m_pRelay->OnSignOfLife(now);
}

void CSendPaths::Close() {
    if (m_pRelay) m_pRelay->Close();
    m_sealed[kDirectLane].reset();
    m_pDirect.reset();
}

LaneLinks CSendPaths::Links() {
    LaneLinks links{};
    for (size_t lane = 0; lane < kMaxLanes; ++lane) {
        auto& sealed = m_sealed.at(lane);
        if (sealed) links.at(lane) = &*sealed;
    }
    return links;
}

std::string CSendPaths::PathText(size_t lane) const {
    if (lane == kRelayLane) return m_route.PathText();
    std::string text;
    std::vector<std::string> paths = m_host.ConnectedPaths();
    for (const std::string& path : m_tcpPeers) PutPath(path, paths);
    for (const std::string& path : paths) text += (text.empty() ? "" : ", ") + path;
    return text.empty() ? "direct" : text;
}

}  // namespace lumo
