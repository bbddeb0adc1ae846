// Challengers: validated publishers of channels that another publishes over UDP.
#pragma once

#include "link/bounds/address_quotas.h"
#include "platform/lumonet/lumonet.h"
#include "server/sources/claims.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

class CSourceUDP;
class CServerChannelTable;

/// Has either a claim (UDP) or a session (TCP), which is turned away by ending it.
struct CChallenger {
    struct CEnd {
        void operator()(ITcpSession* session) const { session->ReleaseConnections(); }
    };

    uint32_t IP() const { return session ? static_cast<uint32_t>(session->GetRemoteIP()) : claim->address.ip; }

    std::unique_ptr<CClaim> claim;
    std::unique_ptr<ITcpSession, CEnd> session;
    CQuotaHold connection;  // the session's unit of its address's quota
};

/// The present publisher is asked three times; any datagram of it decides for it, silence for the challenger. A channel
/// has one contest at a time and a pause after each, so that no host can make the server ask without end. Everything
/// under the gate but IsEmpty.
class CContests {
public:
    explicit CContests(const CMediumRow& row) : m_row(row) {}

    bool Has(uint32_t channelID) const { return m_contests.count(channelID) != 0; }
    void Begin(uint32_t channelID, CSourceUDP& present, CChallenger challenger);
    /// A connect request of a publisher in a contest is acknowledged again; one that has just lost gets no answer while
    /// the place is taken. False when the request is neither's.
    bool OnConnect(uint32_t channelID, uint32_t senderKey, const CEndpointAddress& address, bool taken);
    /// The publisher has given up.
    void Leave(uint32_t sourceID, const CEndpointAddress& address);
    /// Asks where it is time to, and takes out the challengers that have won, with their channels.
    std::vector<std::pair<uint32_t, CChallenger>> OnTurn(CServerChannelTable& channels, uint32_t now);
    void EndAll();
    /// Any thread.
    bool IsEmpty() const { return m_nCount.load(std::memory_order_relaxed) == 0; }

private:
    struct CContest {
        CChallenger challenger;  // neither: it is decided
        uint32_t presentID;
        uint64_t signs;  // of the present publisher, when it began
        uint32_t since;
        unsigned asked = 0;
    };
    enum class State { Open, Won, Over };

    using Loser = std::tuple<uint32_t, uint32_t, uint16_t>;  // channel, address, port

    State Judge(uint32_t channelID, CContest& contest, CServerChannelTable& channels, uint32_t now);
    void TurnAway(uint32_t channelID, CChallenger challenger, uint32_t now);
    bool HasJustLost(const Loser& who);
    void Count() { m_nCount.store(m_contests.size(), std::memory_order_relaxed); }

    const CMediumRow& m_row;
    std::map<uint32_t, CContest> m_contests;          // by channel
    std::deque<std::pair<uint32_t, Loser>> m_losers;  // with the time, oldest first
    std::atomic<size_t> m_nCount{0};
};
