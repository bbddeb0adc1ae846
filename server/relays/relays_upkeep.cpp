// What happens to relays as time passes.
#include "link/activity.h"
#include "server/relays/relays.h"

void CRelays::OnSecond(uint32_t now) {
    m_pending.ForgetOld(now);
    for (auto it = m_relays.begin(); it != m_relays.end();) {
        CRelay& relay = it->second;
        if (Upkeep(it->first, relay, now)) {
            ++it;
            continue;
        }
        relay.leg->Close();
        m_medium.EndChannel(*relay.channel);
        it = m_relays.erase(it);
    }
    for (const CPendingRequests::Pending& pending : m_pending.Naming())
        if (!Has(pending.request.channelID, pending.home)) Serve(pending.request, pending.home);
}

void CRelays::OnTurn() {
    const bool news = m_bNews.load(std::memory_order_relaxed) && m_bNews.exchange(false, std::memory_order_acq_rel);
    const bool behind = m_medium.legsBehind.exchange(false, std::memory_order_acq_rel);
    if (!news && !behind && !m_bDoubt.load(std::memory_order_relaxed)) return;
    CAutoLock gate(&m_medium.context.gate);
    bool doubt = false;
    for (auto& [key, relay] : m_relays) {
        if (relay.doubtful && HasGivenSign(relay)) relay.doubtful = false;
        doubt = doubt || relay.doubtful;
        if (behind) relay.leg->Follow(relay.channel->Wanted() > 0);
        if (Serves(relay)) ServeWaiting(relay, key.second);
    }
    m_bDoubt.store(doubt, std::memory_order_relaxed);
}

bool CRelays::Upkeep(const Key& key, CRelay& relay, uint32_t now) {
    if (m_medium.context.policy.Filter(key.second).IsEmpty())  // not any more
        return m_medium.RefuseRelay(relay.asker, Refusal::RelayTarget, key.first, key.second);
    Poll(relay, key.second, now);
    if (Serves(relay)) ServeWaiting(relay, key.second);
    CloseLateTcp(relay, now);
    const bool closed = relay.tcp && !relay.answered && relay.leg->Poll();
    if (closed || (!relay.leg->IsUp() && ElapsedMs(now, relay.pendingSince) > TriedForMs()))
        return m_medium.RefuseRelay(relay.asker, Refusal::RelaySilent, key.first, key.second);
    return !IsAlone(relay, now);
}

// Where requests are made once, the far server keeps them, too, and answers when it can.
uint32_t CRelays::TriedForMs() const {
    return m_medium.row.asksOnce ? server::kRequestPendingMs : server::kLegTriedForMs;
}

bool CRelays::MayAsk(CRelay& relay, const CMcuAddress& home) {
    relay.answered = relay.answered || relay.leg->IsUp();
    if (relay.answered) return true;
    size_t asks = 0;
    if (relay.tcp)
        asks = 1;
    else
        home.ForEachDistinct([&asks](uint32_t) { ++asks; });
    if (asks > relay.asksLeft) return false;
    relay.asksLeft -= asks;
    return true;
}

void CRelays::Poll(CRelay& relay, const CMcuAddress& home, uint32_t now) {
    if (!MayAsk(relay, home)) return;
    if (relay.doubtful && HasGivenSign(relay)) relay.doubtful = false;
    const bool silent = relay.doubtful && ElapsedMs(now, relay.doubtfulSince) > server::kLegAnswersWithinMs;
    if (silent || !relay.open || relay.leg->Poll()) Reopen(relay, now);
    if (relay.leg->IsUp()) relay.leg->Follow(relay.channel->Wanted() > 0);
}

void CRelays::Reopen(CRelay& relay, uint32_t now) {
    if (relay.leg->IsUp()) relay.pendingSince = now;
    relay.leg->Close();
    relay.doubtful = false;
    relay.open = relay.leg->Open();
}

void CRelays::ServeWaiting(CRelay& relay, const CMcuAddress& home) {
    for (const CSinkRequest& request : relay.waiting) {
        m_pending.Forget(request, home);
        m_sinks.Connect(*relay.channel, request);
    }
    ServePending(*relay.channel, home);
    relay.waiting.clear();
    relay.waitingTcp.clear();
}

void CRelays::CloseLateTcp(CRelay& relay, uint32_t now) {
    std::vector<std::pair<uint32_t, uint32_t>> stillWaiting;
    for (const auto& [sinkID, since] : relay.waitingTcp) {
        if (ElapsedMs(now, since) >= server::kTcpWaitsForLegMs)
            m_medium.adapter.EndSink(sinkID);
        else
            stillWaiting.emplace_back(sinkID, since);
    }
    relay.waitingTcp.swap(stillWaiting);
}

bool CRelays::IsAlone(CRelay& relay, uint32_t now) {
    const bool wasAlone = relay.alone;
    relay.alone = relay.channel->SinkCount() == 0 && relay.waiting.empty();
    if (relay.alone && !wasAlone) relay.aloneSince = now;
    return relay.alone && ElapsedMs(now, relay.aloneSince) >= server::kLegLingersMs;
}
