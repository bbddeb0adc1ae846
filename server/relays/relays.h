// Channels relayed from other servers: one subscription there for all subscribers here.
#pragma once

#include "link/tables/object_id.h"
#include "server/relays/pending_requests.h"
#include "server/sinks/sinks.h"

#include <atomic>
#include <map>
#include <memory>
#include <utility>
#include <vector>

/// `home` is the publisher's server, as far as this one may relay from there. Channels of one number at two homes have
/// nothing in common, nor with this server's own. Everything under the gate unless said otherwise.
class CRelays {
public:
    CRelays(CMedium& medium, CSinks& sinks)
        : m_medium(medium),
          m_sinks(sinks),
          m_pending(medium.Limits().unvalidatedUdpPerAddress, medium.context.trusted) {}

    bool Has(uint32_t channelID, const CMcuAddress& home) const {
        return m_relays.count({channelID, HomeKey(home)}) != 0;
    }
    /// A UDP subscriber: served at once if the leg is up, else as soon as it is.
    void Ask(const CSinkRequest& request, const CMcuAddress& home);
    /// In a medium whose subscribers ask only once: the request is pending until the channel is there. No home stands
    /// for this server.
    void AddPending(const CSinkRequest& request, const CMcuAddress& home);
    /// A TCP subscriber: accepted at once; closed when the far server has not accepted in time. False refuses it.
    bool AskTcp(ITcpSession* session, const CSinkRequest& request, const CMcuAddress& home);

    /// The channel is there: serves the pending requests for it.
    void ServePending(CServerChannel& channel, const CMcuAddress& home);
    /// The server ends: the legs go, the channels stay.
    void EndAll();
    /// Ends relays that have no subscriber or do not come up, and starts those again that a pending request names.
    void OnSecond(uint32_t now);
    /// Serves subscribers that wait for a leg as soon as it is up or has given a sign of life. Takes the gate when
    /// there is one.
    void OnTurn();

private:
    using Key = std::pair<uint32_t, CMcuAddress>;  // channel, HomeKey
    struct CRelay {
        CObjectID legID;
        std::shared_ptr<CServerChannel> channel;
        std::unique_ptr<CRelayLeg> leg;
        uint32_t asker = 0;
        bool tcp = false;
        bool open = false;
        bool answered = false;      // at some time
        size_t asksLeft = 0;        // datagrams, until it has
        uint32_t pendingSince = 0;  // while it is not up
        uint32_t aloneSince = 0;    // while nobody subscribes
        bool alone = false;
        bool doubtful = false;  // it must show a sign of life before it serves anybody new
        uint32_t doubtfulSince = 0;
        std::vector<CSinkRequest> waiting;
        std::vector<std::pair<uint32_t, uint32_t>> waitingTcp;  // sink ID, since when
    };

    void Serve(const CSinkRequest& request, const CMcuAddress& home);
    CRelay* FindOrStart(const CSinkRequest& request, const CMcuAddress& home, bool tcp);
    CRelay* Start(const Key& key, const CMcuAddress& home, uint32_t asker, bool tcp);
    bool MayStart(uint32_t asker, bool tcp) const;
    static bool Serves(const CRelay& relay) { return relay.leg->IsUp() && !relay.doubtful; }
    void Doubt(CRelay& relay);
    static bool HasGivenSign(const CRelay& relay);
    void Wait(CRelay& relay, const CSinkRequest& request) const;

    /// False when the relay is to be ended.
    bool Upkeep(const Key& key, CRelay& relay, uint32_t now);
    /// How long a far server that has not answered is waited for.
    uint32_t TriedForMs() const;
    /// Whether a leg that has not been accepted may ask on; a stranger's address is asked a few times only.
    static bool MayAsk(CRelay& relay, const CMcuAddress& home);
    void Poll(CRelay& relay, const CMcuAddress& home, uint32_t now);
    void Reopen(CRelay& relay, uint32_t now);
    void ServeWaiting(CRelay& relay, const CMcuAddress& home);
    void CloseLateTcp(CRelay& relay, uint32_t now);
    static bool IsAlone(CRelay& relay, uint32_t now);

    CMedium& m_medium;
    CSinks& m_sinks;
    CPendingRequests m_pending;
    std::map<Key, CRelay> m_relays;
    std::atomic<bool> m_bNews{false};   // a leg has come up
    std::atomic<bool> m_bDoubt{false};  // a leg is doubtful
};
