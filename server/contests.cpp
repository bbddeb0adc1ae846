#include "server/contests.h"

#include "link/activity.h"
#include "link/mcu_services.h"
#include "server/server_constants.h"
#include "server/source_udp.h"
#include "server/source_words.h"
#include "server/stream.h"
#include "server/stream_table.h"

#include <algorithm>
#include <utility>

void CContests::Begin(uint32_t channelID, CSourceUDP& present, CNewcomer newcomer) {
    m_contests[channelID] = {std::move(newcomer), present.SourceID(), present.Signs(), CActivity::Now(), 1};
    Count();
    present.Ask();
}

bool CContests::OnConnect(uint32_t channelID, uint32_t senderKey, const CPeer& peer, bool taken) {
    if (taken && HasJustLost({channelID, peer.ip, peer.port})) return true;
    const auto found = m_contests.find(channelID);
    const CClaim* claim = found == m_contests.end() ? nullptr : found->second.newcomer.claim.get();
    if (!claim || claim->senderKey != senderKey || !(claim->peer == peer)) return false;
    for (int i = 0; i < m_row.source.connectAcks; ++i)
        SendDatagram(SourceConnectAck(m_row, senderKey, claim->sourceID.Get()), peer.ip, peer.port);
    return true;
}

// Whoever is told nothing notices, and asks anew: an answer would tell it that there is a place.
void CContests::TurnAway(uint32_t channelID, CNewcomer newcomer, uint32_t now) {
    if (!newcomer.claim) return;
    if (m_losers.size() >= server::kMaxLosers) m_losers.pop_front();
    m_losers.emplace_back(now, Loser{channelID, newcomer.claim->peer.ip, newcomer.claim->peer.port});
}

bool CContests::HasJustLost(const Loser& who) {
    const uint32_t now = CActivity::Now();
    while (!m_losers.empty() && ElapsedMs(now, m_losers.front().first) > server::kLoserHearsNothingMs)
        m_losers.pop_front();
    return std::any_of(m_losers.begin(), m_losers.end(), [&](const auto& loser) { return loser.second == who; });
}

void CContests::Leave(uint32_t sourceID, const CPeer& peer) {
    for (auto& [channelID, contest] : m_contests) {
        const CClaim* claim = contest.newcomer.claim.get();
        if (claim && claim->sourceID.Get() == sourceID && claim->peer == peer) contest.newcomer = {};
    }
}

CContests::State CContests::Judge(uint32_t channelID, CContest& contest, CStreamTable& streams, uint32_t now) {
    const uint32_t elapsed = ElapsedMs(now, contest.since);
    if (contest.newcomer.session && contest.newcomer.session->IsDisconnected()) contest.newcomer = {};
    if (!contest.newcomer.session && !contest.newcomer.claim)
        return elapsed < server::kAskEveryMs ? State::Open : State::Over;
    bool present = false;
    bool answered = false;
    if (const auto stream = streams.Find(channelID)) {
        stream->WithSource([&](CSource& source) {
            CSourceUDP* udp = source.AsUDP();
            present = !source.IsGone();
            answered = !udp || udp->SourceID() != contest.presentID || udp->Signs() != contest.signs;
            if (answered || contest.asked >= server::kAskTimes || elapsed < contest.asked * server::kAskEveryMs) return;
            ++contest.asked;
            udp->Ask();
        });
    }
    if (!present || (!answered && elapsed >= server::kAskTimes * server::kAskEveryMs)) return State::Won;
    if (answered) TurnAway(channelID, std::exchange(contest.newcomer, {}), now);
    return State::Open;
}

std::vector<std::pair<uint32_t, CNewcomer>> CContests::OnTurn(CStreamTable& streams, uint32_t now) {
    std::vector<std::pair<uint32_t, CNewcomer>> won;
    for (auto it = m_contests.begin(); it != m_contests.end();) {
        const State state = Judge(it->first, it->second, streams, now);
        if (state == State::Won) won.emplace_back(it->first, std::move(it->second.newcomer));
        it = state == State::Open ? std::next(it) : m_contests.erase(it);
    }
    Count();
    return won;
}

void CContests::EndAll() {
    m_contests.clear();
    m_losers.clear();
    Count();
}
