// Newcomers who have proved themselves on channels that somebody else publishes over UDP.
#pragma once

#include "link/address_shares.h"
#include "platform/lumonet/lumonet.h"
#include "server/claims.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

class CSourceUDP;
class CStreamTable;

/// One of the two. Over TCP it is turned away by ending it.
struct CNewcomer {
    struct CEnd {
        void operator()(ITcpSession* session) const { session->ReleaseConnections(); }
    };

    uint32_t IP() const { return session ? static_cast<uint32_t>(session->GetRemoteIP()) : claim->peer.ip; }

    std::unique_ptr<CClaim> claim;
    std::unique_ptr<ITcpSession, CEnd> session;
    CShareHold connection;  // the session's, of what its address may have
};

/// The present publisher is asked three times; any datagram of it decides for it, silence for the newcomer. One contest
/// a channel at a time, and after one a moment without, so that nobody makes the server ask without end. Everything
/// under the gate but IsEmpty.
class CContests {
public:
    explicit CContests(const CMediumRow& row) : m_row(row) {}

    bool Has(uint32_t channelID) const { return m_contests.count(channelID) != 0; }
    void Begin(uint32_t channelID, CSourceUDP& present, CNewcomer newcomer);
    /// A connect request of one who is in a contest is acknowledged again, and one who has just lost hears nothing
    /// while the place is taken; false when it is neither's.
    bool OnConnect(uint32_t channelID, uint32_t senderKey, const CPeer& peer, bool taken);
    /// It has given up.
    void Leave(uint32_t sourceID, const CPeer& peer);
    /// Asks where it is time to, and takes out those who have won, with their channels.
    std::vector<std::pair<uint32_t, CNewcomer>> OnTurn(CStreamTable& streams, uint32_t now);
    void EndAll();
    /// Any thread.
    bool IsEmpty() const { return m_nCount.load(std::memory_order_relaxed) == 0; }

private:
    struct CContest {
        CNewcomer newcomer;  // neither: it is decided
        uint32_t presentID;
        uint64_t signs;  // of the present publisher, when it began
        uint32_t since;
        unsigned asked = 0;
    };
    enum class State { Open, Won, Over };

    using Loser = std::tuple<uint32_t, uint32_t, uint16_t>;  // channel, address, port

    State Judge(uint32_t channelID, CContest& contest, CStreamTable& streams, uint32_t now);
    void TurnAway(uint32_t channelID, CNewcomer newcomer, uint32_t now);
    bool HasJustLost(const Loser& who);
    void Count() { m_nCount.store(m_contests.size(), std::memory_order_relaxed); }

    const CMediumRow& m_row;
    std::map<uint32_t, CContest> m_contests;          // by channel
    std::deque<std::pair<uint32_t, Loser>> m_losers;  // with the time, oldest first
    std::atomic<size_t> m_nCount{0};
};
