#include "tools/lumo/net/peer_host.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lumo {
namespace {

constexpr std::array<uint64_t, 5> kPausesMs = {500, 1000, 2000, 5000, 10000};

}  // namespace

std::string DirectText(const HostPort& host) { return "direct " + host.Text(); }

bool IsFarSide(const LumoLinkStatistics& link, const P2PPeer& peer) {
    const auto is = [&link](unsigned long ip, unsigned short port) {
        return ip != 0 && link.ulRemoteIP == ip && link.usRemotePort == port;
    };
    return is(peer.ulNATIP, peer.usNATUDPPort) || is(peer.ulLocalIP, peer.usLocalUDPPort) ||
           is(peer.ulHeardIP, peer.usHeardPort);
}

void PutPath(const std::string& path, std::vector<std::string>& paths) {
    const std::string address = path.substr(0, path.rfind(':') + 1);
    const auto there = [&](const std::string& other) { return other.compare(0, address.size(), address) == 0; };
    paths.erase(std::remove_if(paths.begin(), paths.end(), there), paths.end());
    paths.push_back(path);
}

CPeerHost::CPeerHost(const PeerOptions& options)
    : CPeerManager(options.peers, options.userID, options.forwarded), m_options(options) {}

CPeerHost::~CPeerHost() {
    DropSignal();
    End();
}

void CPeerHost::Poll(uint64_t now) {
    if (!m_options.peers) return;
    if (now >= m_ullReflectMs) {
        m_ullReflectMs = now + kRefreshMs;
        AskReflector({m_options.mcu.ips[0], m_options.mcu.port});
    }
    // Whoever asked us before we know our public address would take away a useless one.
    if (!m_pSignal && Answers() > 0 && now >= m_ullSignalMs) {
        const CProxyServer& proxy = m_options.proxy;
        const std::lock_guard<std::mutex> lock(m_mutex);  // what the first command makes us answer waits for it
        m_pSignal =
            CreateSignalClient(*this, UserID(), m_options.mcu.ips[0], m_options.mcu.port, static_cast<int>(proxy.type),
                               proxy.host.c_str(), proxy.port, proxy.user.c_str(), proxy.password.c_str());
        m_ullSignalMs = now + kPausesMs.front();
    }
    if (!m_pSignal || now - m_ullPolledMs < kPollMs / 10) return;
    m_ullPolledMs = now;
    if (!m_pSignal->IsDisconnected()) return;
    m_nRefusals = m_bRegistered ? 1 : m_nRefusals + 1;
    const bool inARow = m_ullRefusedMs != 0;
    m_ullRefusedMs = m_pSignal->IsRefused() ? now : 0;
    if (!inARow || m_ullRefusedMs == 0) m_ullFirstRefusedMs = m_ullRefusedMs;
    DropSignal();
    m_ullSignalMs = now + kPausesMs.at(std::min<size_t>(static_cast<size_t>(m_nRefusals), kPausesMs.size()) - 1);
}

// Outside the lock: releasing waits for callbacks, which may be about to send.
void CPeerHost::DropSignal() {
    ISignalClient* signal = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        signal = std::exchange(m_pSignal, nullptr);
    }
    if (signal) signal->ReleaseConnections();
    m_bRegistered = false;
}

void CPeerHost::OnP2PNotifySendCmd(unsigned long userID, CCmdPacket& cmd) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_pSignal) m_pSignal->SendCmd(userID, cmd);
}

void CPeerHost::OnSignalNotifyCmd(CCmdPacket& cmd) {
    NoteUser(static_cast<uint32_t>(cmd.GetFromUID()));
    Receive(cmd);
}

void CPeerHost::NoteUser(uint32_t userID) {
    const std::lock_guard<std::mutex> lock(m_usersMutex);
    if (std::find(m_users.begin(), m_users.end(), userID) != m_users.end()) return;
    if (m_users.size() >= kMaxUsers) m_users.erase(m_users.begin());
    m_users.push_back(userID);
}

PeerState CPeerHost::StateOf(uint32_t userID) {
    P2PPeer peer{};
    if (!GetP2PPeer(userID, peer)) return PeerState::Unknown;
    return peer.byState == 1 ? PeerState::Connected : peer.byState == 2 ? PeerState::Failed : PeerState::Negotiating;
}

LinkSigns CPeerHost::SignsFrom(uint32_t userID) {
    LinkSigns signs;
    for (const LumoLinkStatistics& link : LinksWith(userID)) signs.Add(link);
    return signs;
}

std::vector<LumoLinkStatistics> CPeerHost::LinksWith(uint32_t userID) {
    std::vector<LumoLinkStatistics> links;
    P2PPeer peer{};
    LumoLinkStatistics link{};
    if (!GetP2PPeer(userID, peer)) return links;
    for (unsigned long i = 0; GetLinkStatistics(i, link); ++i) {
        if (IsFarSide(link, peer)) links.push_back(link);
    }
    return links;
}

std::string CPeerHost::PathTo(uint32_t userID, bool tcp) const {
    P2PPeer peer{};
    if (!GetP2PPeer(userID, peer)) return "direct";
    if (!tcp) {
        HostPort far{static_cast<uint32_t>(peer.ulHeardIP), peer.usHeardPort};
        for (const LumoLinkStatistics& link : LinksWith(userID))
            far = {static_cast<uint32_t>(link.ulRemoteIP), link.usRemotePort};
        return DirectText(far);
    }
    const unsigned long ip = peer.ulNATIP == Public().ip ? peer.ulLocalIP : peer.ulNATIP;
    return DirectText({static_cast<uint32_t>(ip), peer.usLocalUDPPort});
}

std::vector<std::string> CPeerHost::ConnectedPaths() const {
    std::vector<std::string> paths;
    const std::lock_guard<std::mutex> lock(m_usersMutex);
    for (const uint32_t user : m_users) {
        P2PPeer peer{};
        if (!GetP2PPeer(user, peer) || peer.byState != 1) continue;
        PutPath(PathTo(user, false), paths);
    }
    return paths;
}

}  // namespace lumo
