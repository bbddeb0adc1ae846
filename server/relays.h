// Channels that are at home at another server: one subscription there for all subscribers here.
#pragma once

#include "server/kept_requests.h"
#include "server/sinks.h"

#include <atomic>
#include <map>
#include <memory>
#include <utility>
#include <vector>

/// `home` is the publisher's server, as a request names it. Everything under the gate but what says otherwise.
class CRelays {
public:
    CRelays(CMedium& medium, CSinks& sinks)
        : m_medium(medium), m_sinks(sinks), m_kept(medium.Limits().unprovedPerAddress) {}

    /// A UDP subscriber of a channel that is not at home here: served at once when the leg is up, else when it is.
    void Ask(const CSinkRequest& request, const CMcuAddress& home);
    /// One of those who ask only once (else nothing): served as soon as the channel is there.
    void Keep(const CSinkRequest& request, const CMcuAddress& home);
    /// A TCP subscriber: accepted at once; closed when the far server has not accepted in time. False refuses it.
    bool AskTcp(ITcpSession* session, const CSinkRequest& request, const CMcuAddress& home);

    /// Whether a new relay for this asker may be tried.
    bool MayRelay(uint32_t asker, const CMcuAddress& home) {
        return MayStart(asker) && !m_medium.context.policy.Filter(home).IsEmpty();
    }
    /// The channel's publisher has come here, or the server ends: the leg goes, the stream stays, and those who wait
    /// for it are served.
    void End(CStream& stream);
    void EndAll();
    /// Those whose relay has ended, for somebody to decide what becomes of them.
    std::vector<std::shared_ptr<CStream>> OnSecond(uint32_t now);
    /// Those whose relay has been given up are asked for anew, once what became of it is settled. Once a second, under
    /// the gate.
    void AskForKept();
    /// Serves those who wait for a leg as soon as it is up, or has given its sign. Takes the gate when there is one.
    void OnTurn();

private:
    struct CRelay {
        std::shared_ptr<CStream> stream;
        std::unique_ptr<CRelayLeg> leg;
        uint32_t asker = 0;
        bool open = false;
        uint32_t pendingSince = 0;  // while it is not up
        uint32_t aloneSince = 0;    // while nobody subscribes
        bool alone = false;
        bool doubtful = false;  // it must show a sign of life before it serves anybody new
        uint32_t doubtfulSince = 0;
        std::vector<CSinkRequest> waiting;
        std::vector<std::pair<uint32_t, uint32_t>> waitingTcp;  // sink ID, since when
    };

    void Serve(const CSinkRequest& request, const CMcuAddress& home);
    CRelay* FindOrStart(uint32_t channelID, uint32_t asker, const CMcuAddress& home, bool tcp);
    CRelay* Start(uint32_t channelID, uint32_t asker, const CMcuAddress& home, bool tcp);
    bool MayStart(uint32_t asker) const;
    static bool Serves(const CRelay& relay) { return relay.leg->IsUp() && !relay.doubtful; }
    void Doubt(CRelay& relay);
    static bool HasGivenSign(const CRelay& relay);
    void Wait(CRelay& relay, const CSinkRequest& request) const;

    /// False when the relay is to be ended.
    bool Upkeep(CRelay& relay, uint32_t now);
    void Poll(CRelay& relay, uint32_t now);
    void Reopen(CRelay& relay, uint32_t now);
    void ServeWaiting(CRelay& relay);
    void CloseLateTcp(CRelay& relay, uint32_t now);
    static bool IsAlone(CRelay& relay, uint32_t now);
    static void Finish(CRelay& relay);

    CMedium& m_medium;
    CSinks& m_sinks;
    CKeptRequests m_kept;
    std::map<uint32_t, CRelay> m_relays;
    std::atomic<bool> m_bNews{false};   // a leg has come up
    std::atomic<bool> m_bDoubt{false};  // a leg is doubtful
};
