#include "server/sources/contests.h"

#include "link/activity.h"
#include "link/process/mcu_services.h"
#include "server/channels/server_channel.h"
#include "server/channels/server_channel_table.h"
#include "server/server_constants.h"
#include "server/sources/source.h"
#include "server/sources/source_udp.h"

#include <algorithm>
#include <utility>

void CContests::Begin(uint32_t channelID, CSourceUDP& present, CChallenger challenger) {
    m_contests[channelID] = {std::move(challenger), present.SourceID(), present.Signs(), CActivity::Now(), 1};
    Count();
    present.Ask();
}

bool CContests::OnConnect(uint32_t channelID, uint32_t senderKey, const CEndpointAddress& address, bool taken) {
    if (taken && HasJustLost({channelID, address.ip, address.port})) return true;
    const auto found = m_contests.find(channelID);
    const CClaim* claim = found == m_contests.end() ? nullptr : found->second.challenger.claim.get();
    if (!claim || claim->senderKey != senderKey || !(claim->address == address)) return false;
    for (int i = 0; i < m_row.source.connectAcks; ++i)
        SendDatagram(SourceConnectAck(m_row, senderKey, claim->sourceID.Get()), address.ip, address.port);
    return true;
}

// The loser gets no answer, times out and asks anew: an answer would tell it that the place is free.
void CContests::TurnAway(uint32_t channelID, CChallenger challenger, uint32_t now) {
    if (!challenger.claim) return;
    if (m_losers.size() >= server::kMaxLosers) m_losers.pop_front();
    m_losers.emplace_back(now, Loser{channelID, challenger.claim->address.ip, challenger.claim->address.port});
}

bool CContests::HasJustLost(const Loser& who) {
    const uint32_t now = CActivity::Now();
    while (!m_losers.empty() && ElapsedMs(now, m_losers.front().first) > server::kLoserHearsNothingMs)
        m_losers.pop_front();
    return std::any_of(m_losers.begin(), m_losers.end(), [&](const auto& loser) { return loser.second == who; });
}

void CContests::Leave(uint32_t sourceID, const CEndpointAddress& address) {
    for (auto& [channelID, contest] : m_contests) {
        const CClaim* claim = contest.challenger.claim.get();
        if (claim && claim->sourceID.Get() == sourceID && claim->address == address) contest.challenger = {};
    }
}

CContests::State CContests::Judge(uint32_t channelID, CContest& contest, CServerChannelTable& channels, uint32_t now) {
    const uint32_t elapsed = ElapsedMs(now, contest.since);
    if (contest.challenger.session && contest.challenger.session->IsDisconnected()) contest.challenger = {};
    if (!contest.challenger.session && !contest.challenger.claim)
        return elapsed < server::kAskEveryMs ? State::Open : State::Over;
    bool present = false;
    bool answered = false;
    if (const auto channel = channels.Find(channelID)) {
        channel->WithSource([&](CSource& source) {
            CSourceUDP* udp = source.AsUDP();
            present = !source.IsGone();
            answered = !udp || udp->SourceID() != contest.presentID || udp->Signs() != contest.signs;
            if (answered || contest.asked >= server::kAskTimes || elapsed < contest.asked * server::kAskEveryMs) return;
            ++contest.asked;
            udp->Ask();
        });
    }
    if (!present || (!answered && elapsed >= server::kAskTimes * server::kAskEveryMs)) return State::Won;
    if (answered) TurnAway(channelID, std::exchange(contest.challenger, {}), now);
    return State::Open;
}

std::vector<std::pair<uint32_t, CChallenger>> CContests::OnTurn(CServerChannelTable& channels, uint32_t now) {
    std::vector<std::pair<uint32_t, CChallenger>> won;
    for (auto it = m_contests.begin(); it != m_contests.end();) {
        const State state = Judge(it->first, it->second, channels, now);
        if (state == State::Won) won.emplace_back(it->first, std::move(it->second.challenger));
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
