// This host among its peers: registered at the signalling service, its public address known.
#pragma once

#include "tools/lumo/net/link_signs.h"
#include "tools/lumo/net/peer_manager.h"
#include "tools/lumo/net/proxy_url.h"
#include "tools/lumo/net/target.h"

#include <lumomedia/statistics.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace lumo {

enum class PeerState { Unknown, Negotiating, Connected, Failed };

struct PeerOptions {
    bool peers = false;  ///< without them there is a local MCU only
    bool forwarded = false;
    uint32_t userID = 0;
    RelayTarget mcu;  ///< whose reflector and signalling service serve
    CProxyServer proxy;
};

/// "direct ADDRESS:PORT".
std::string DirectText(const HostPort& host);
/// Adds such a path in the place of one with that address, for whoever is started anew has another port.
void PutPath(const std::string& path, std::vector<std::string>& paths);

/// Whether a link's far side is that peer at one of its addresses. The link keeps to the one that answered first, while
/// probes go on coming from the others, and from whoever forges them.
bool IsFarSide(const LumoLinkStatistics& link, const P2PPeer& peer);

/// One thread, the loop's, but for the callbacks.
class CPeerHost : public CPeerManager, private ISignalNotify {
public:
    explicit CPeerHost(const PeerOptions& options);
    ~CPeerHost() override;

    /// Keeps the registration alive and the public address fresh.
    void Poll(uint64_t now);
    /// Peers can be asked.
    bool Ready() const { return m_bRegistered && Answers() > 0; }
    /// The service has turned us away or is not there; it is asked again later.
    bool Refused() const { return m_nRefusals > 0 && !m_bRegistered; }
    /// The service is there and has been turning us away for longer than it takes one to notice that the connection
    /// which holds our number is broken: somebody else has it.
    bool Replaced() const { return !m_bRegistered && m_ullRefusedMs - m_ullFirstRefusedMs >= kReplacedMs; }

    static PeerState StateOf(uint32_t userID);
    /// A link to that user, taken or not, has nothing more to hope for.
    static bool InVain(uint32_t userID, bool taken) { return !taken && StateOf(userID) == PeerState::Failed; }
    /// What has come from that user.
    static LinkSigns SignsFrom(uint32_t userID);
    /// Every live link with that user.
    static std::vector<LumoLinkStatistics> LinksWith(uint32_t userID);
    /// "direct ADDRESS:PORT" of that user: over UDP the far side of a live link with him, else where his last probe
    /// came from.
    std::string PathTo(uint32_t userID, bool tcp) const;
    /// "direct ADDRESS:PORT" of every user whose probes have come lately, in the order of their coming.
    std::vector<std::string> ConnectedPaths() const;

    static constexpr uint64_t kRefreshMs = 15000;  // mappings of idle UDP ports are forgotten after 30 s
    static constexpr uint64_t kReplacedMs = 60000;

private:
    static constexpr uint64_t kPollMs = 1000;
    static constexpr size_t kMaxUsers = 64;

    void OnP2PNotifySendCmd(unsigned long userID, CCmdPacket& cmd) override;
    void OnSignalNotifyConnected(unsigned long) override { m_bRegistered = true; }
    void OnSignalNotifyCmd(CCmdPacket& cmd) override;
    void NoteUser(uint32_t userID);
    void DropSignal();

    const PeerOptions m_options;
    std::mutex m_mutex;  // the way out to the service, from any thread of the library
    ISignalClient* m_pSignal = nullptr;
    mutable std::mutex m_usersMutex;
    std::vector<uint32_t> m_users;
    std::atomic<bool> m_bRegistered{false};
    int m_nRefusals = 0;
    uint64_t m_ullFirstRefusedMs = 0;  // of refusals in a row, by a service that was reached
    uint64_t m_ullRefusedMs = 0;       // the last of them
    uint64_t m_ullPolledMs = 0;
    uint64_t m_ullSignalMs = 0;   // when to go to the service
    uint64_t m_ullReflectMs = 0;  // when to ask the reflector again
};

}  // namespace lumo
