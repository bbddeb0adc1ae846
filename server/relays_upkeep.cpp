// What happens to relays as time passes.
#include "link/activity.h"
#include "server/relays.h"

std::vector<std::shared_ptr<CStream>> CRelays::OnSecond(uint32_t now) {
    m_kept.ForgetOld(now);
    std::vector<std::shared_ptr<CStream>> ended;
    for (auto it = m_relays.begin(); it != m_relays.end();) {
        if (Upkeep(it->second, now)) {
            ++it;
        } else {
            Finish(it->second);
            ended.push_back(it->second.stream);
            it = m_relays.erase(it);
        }
    }
    return ended;
}

void CRelays::AskForKept() {
    for (const CKeptRequests::Kept& kept : m_kept.Naming()) {
        const uint32_t channelID = kept.request.channelID;
        const auto stream = m_medium.streams.Find(channelID);
        if (m_relays.count(channelID) == 0 && !(stream && stream->HasLiveSource())) Serve(kept.request, kept.home);
    }
}

void CRelays::OnTurn() {
    const bool news = m_bNews.load(std::memory_order_relaxed) && m_bNews.exchange(false, std::memory_order_acq_rel);
    const bool behind = m_medium.legsBehind.exchange(false, std::memory_order_acq_rel);
    if (!news && !behind && !m_bDoubt.load(std::memory_order_relaxed)) return;
    CAutoLock gate(&m_medium.context.gate);
    bool doubt = false;
    for (auto& entry : m_relays) {
        CRelay& relay = entry.second;
        if (relay.doubtful && HasGivenSign(relay)) relay.doubtful = false;
        doubt = doubt || relay.doubtful;
        if (behind) relay.leg->Follow(relay.stream->Wanted() > 0);
        if (Serves(relay)) ServeWaiting(relay);
    }
    m_bDoubt.store(doubt, std::memory_order_relaxed);
}

bool CRelays::Upkeep(CRelay& relay, uint32_t now) {
    Poll(relay, now);
    if (Serves(relay)) ServeWaiting(relay);
    CloseLateTcp(relay, now);
    if (!relay.leg->IsUp() && ElapsedMs(now, relay.pendingSince) > server::kLegTriedForMs) return false;
    return !IsAlone(relay, now);
}

void CRelays::Poll(CRelay& relay, uint32_t now) {
    if (relay.doubtful && HasGivenSign(relay)) relay.doubtful = false;
    const bool silent = relay.doubtful && ElapsedMs(now, relay.doubtfulSince) > server::kLegAnswersWithinMs;
    if (silent || !relay.open || relay.leg->IsLost()) Reopen(relay, now);
    if (relay.leg->IsUp()) relay.leg->Follow(relay.stream->Wanted() > 0);
}

void CRelays::Reopen(CRelay& relay, uint32_t now) {
    if (relay.leg->IsUp()) relay.pendingSince = now;
    relay.leg->Close();
    relay.doubtful = false;
    relay.open = relay.leg->Open();
}

void CRelays::ServeWaiting(CRelay& relay) {
    for (const CSinkRequest& request : relay.waiting) {
        m_kept.Forget(request);
        m_sinks.Connect(*relay.stream, request);
    }
    for (const CKeptRequests::Kept& kept : m_kept.Take(relay.stream->ChannelID(), true))
        m_sinks.Connect(*relay.stream, kept.request);
    relay.waiting.clear();
    relay.waitingTcp.clear();
}

void CRelays::CloseLateTcp(CRelay& relay, uint32_t now) {
    std::vector<std::pair<uint32_t, uint32_t>> stillWaiting;
    for (const auto& [sinkID, since] : relay.waitingTcp) {
        if (ElapsedMs(now, since) >= server::kTcpWaitsForLegMs)
            m_medium.classes.EndSink(sinkID);
        else
            stillWaiting.emplace_back(sinkID, since);
    }
    relay.waitingTcp.swap(stillWaiting);
}

bool CRelays::IsAlone(CRelay& relay, uint32_t now) {
    const bool wasAlone = relay.alone;
    relay.alone = relay.stream->SinkCount() == 0 && relay.waiting.empty();
    if (relay.alone && !wasAlone) relay.aloneSince = now;
    return relay.alone && ElapsedMs(now, relay.aloneSince) >= server::kLegLingersMs;
}

void CRelays::Finish(CRelay& relay) {
    relay.leg->Close();
    relay.stream->SetRelayedFrom(0);
}
