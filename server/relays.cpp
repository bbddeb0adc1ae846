#include "server/relays.h"

#include "link/activity.h"
#include "platform/lumobase/undo.h"
#include "platform/lumonet/lumonet.h"

#include <algorithm>

void CRelays::Keep(const CSinkRequest& request, const CMcuAddress& home) {
    if (m_medium.row.asksOnce) m_kept.Keep(request, home, CActivity::Now());
}

void CRelays::Ask(const CSinkRequest& request, const CMcuAddress& home) {
    Keep(request, home);
    Serve(request, home);
}

void CRelays::Serve(const CSinkRequest& request, const CMcuAddress& home) {
    CRelay* relay = FindOrStart(request, home, false);
    if (!relay) return;
    Doubt(*relay);
    if (!Serves(*relay)) return Wait(*relay, request);
    m_kept.Forget(request, home);
    m_sinks.Connect(*relay->stream, request);
}

bool CRelays::AskTcp(ITcpSession* session, const CSinkRequest& request, const CMcuAddress& home) {
    CRelay* relay = FindOrStart(request, home, true);
    if (!relay || !m_medium.HoldForFirst(*relay->stream, request.peer.ip)) return false;
    Doubt(*relay);
    const uint32_t sinkID = m_sinks.Accept(*relay->stream, session, request);
    if (sinkID == 0 || Serves(*relay)) return sinkID != 0;
    CUndo undo([&] { m_medium.classes.EndSink(sinkID); });
    relay->waitingTcp.emplace_back(sinkID, CActivity::Now());
    undo.Keep();
    return true;
}

CRelays::CRelay* CRelays::FindOrStart(const CSinkRequest& request, const CMcuAddress& home, bool tcp) {
    const Key key(request.channelID, HomeKey(home));
    const auto found = m_relays.find(key);
    return found != m_relays.end() ? &found->second : Start(key, home, request.peer.ip, tcp);
}

bool CRelays::MayStart(uint32_t asker, bool tcp) const {
    size_t pending = 0;
    size_t ofAsker = 0;
    for (const auto& entry : m_relays) {
        if (entry.second.leg->IsUp()) continue;
        ++pending;
        if (entry.second.asker == asker) ++ofAsker;
    }
    return pending < (tcp ? server::kMaxPendingLegs : server::kMaxPendingUdpLegs) &&
           ofAsker < server::kPendingLegsPerAsker;
}

CRelays::CRelay* CRelays::Start(const Key& key, const CMcuAddress& home, uint32_t asker, bool tcp) {
    if (!MayStart(asker, tcp)) return nullptr;
    CRelay& relay = m_relays[key];
    CUndo undo([&] {
        if (relay.leg) relay.leg->Close();
        if (relay.stream) m_medium.EndStream(*relay.stream);
        m_relays.erase(key);
    });
    relay.stream = m_medium.MakeStream({key.first, relay.legID.Get(), {home.ips[0], home.port}});
    if (!relay.stream) return nullptr;
    // Whoever asks over UDP may not be there: it answers for the channel once it has shown itself.
    if (tcp ? !m_medium.Hold(*relay.stream, asker) : m_medium.context.channels.IsFull(asker)) return nullptr;
    relay.leg = m_medium.classes.MakeLeg(*relay.stream, home, tcp, m_bNews);
    relay.asker = asker;
    relay.pendingSince = CActivity::Now();
    relay.tcp = tcp;
    relay.asksLeft = tcp ? 1 : server::kLegAsks;
    MayAsk(relay, home);
    relay.open = relay.leg->Open();
    undo.Keep();
    return &relay;
}

// A far server that was killed says nothing, and over UDP nothing else shows it. A leg that has been silent is asked
// before it is trusted with a new subscriber.
void CRelays::Doubt(CRelay& relay) {
    const uint32_t heard = relay.leg->LastHeard();
    if (relay.doubtful || heard == 0 || !relay.leg->IsUp()) return;
    if (ElapsedMs(CActivity::Now(), heard) < server::kLegDoubtfulAfterMs) return;
    relay.doubtful = true;
    relay.doubtfulSince = CActivity::Now();
    m_bDoubt.store(true, std::memory_order_relaxed);
    relay.leg->AskForSign();
}

bool CRelays::HasGivenSign(const CRelay& relay) {
    return static_cast<int32_t>(relay.leg->LastHeard() - relay.doubtfulSince) >= 0;
}

void CRelays::Wait(CRelay& relay, const CSinkRequest& request) const {
    const bool anew = m_medium.row.asksOnce;  // it has given up the request before
    const auto same = [&](const CSinkRequest& other) {
        return (anew || other.receiverID == request.receiverID) && other.peer == request.peer;
    };
    const auto waits = std::find_if(relay.waiting.begin(), relay.waiting.end(), same);
    if (waits != relay.waiting.end())
        *waits = request;
    else if (relay.waiting.size() < server::kMaxWaitingPerLeg)  // else it asks again by itself
        relay.waiting.push_back(request);
}

void CRelays::ServeKept(CStream& stream, const CMcuAddress& home) {
    for (const CKeptRequests::Kept& kept : m_kept.Take(stream.ChannelID(), home)) m_sinks.Connect(stream, kept.request);
}

void CRelays::EndAll() {
    while (!m_relays.empty()) {
        m_relays.begin()->second.leg->Close();
        m_relays.erase(m_relays.begin());
    }
}
