#include "server/relays/relays.h"

#include "link/activity.h"
#include "platform/lumobase/undo.h"
#include "platform/lumonet/lumonet.h"

#include <algorithm>

void CRelays::AddPending(const CSinkRequest& request, const CMcuAddress& home) {
    if (m_medium.row.asksOnce) m_pending.Add(request, home, CActivity::Now());
}

void CRelays::Ask(const CSinkRequest& request, const CMcuAddress& home) {
    AddPending(request, home);
    Serve(request, home);
}

void CRelays::Serve(const CSinkRequest& request, const CMcuAddress& home) {
    CRelay* relay = FindOrStart(request, home, false);
    if (!relay) return;
    Doubt(*relay);
    if (!Serves(*relay)) return Wait(*relay, request);
    m_pending.Forget(request, home);
    m_sinks.Connect(*relay->channel, request);
}

bool CRelays::AskTcp(ITcpSession* session, const CSinkRequest& request, const CMcuAddress& home) {
    CRelay* relay = FindOrStart(request, home, true);
    if (!relay || !m_medium.HoldForFirst(*relay->channel, request.address.ip)) return false;
    Doubt(*relay);
    const uint32_t sinkID = m_sinks.Accept(*relay->channel, session, request);
    if (sinkID == 0 || Serves(*relay)) return sinkID != 0;
    CUndo undo([&] { m_medium.adapter.EndSink(sinkID); });
    relay->waitingTcp.emplace_back(sinkID, CActivity::Now());
    undo.Keep();
    return true;
}

CRelays::CRelay* CRelays::FindOrStart(const CSinkRequest& request, const CMcuAddress& home, bool tcp) {
    const Key key(request.channelID, HomeKey(home));
    const auto found = m_relays.find(key);
    return found != m_relays.end() ? &found->second : Start(key, home, request.address.ip, tcp);
}

bool CRelays::MayStart(uint32_t asker, bool tcp) const {
    size_t pending = 0;
    size_t overUdp = 0;
    size_t ofAsker = 0;
    for (const auto& entry : m_relays) {
        if (entry.second.leg->IsUp()) continue;
        ++pending;
        if (!entry.second.tcp) ++overUdp;
        if (entry.second.asker == asker) ++ofAsker;
    }
    if (pending >= server::kMaxPendingLegs || ofAsker >= server::kPendingLegsPerAsker) return false;
    return tcp || overUdp < server::kMaxPendingUdpLegs;
}

CRelays::CRelay* CRelays::Start(const Key& key, const CMcuAddress& home, uint32_t asker, bool tcp) {
    if (!MayStart(asker, tcp)) {
        m_medium.RefuseRelay(asker, Refusal::RelaysPending, key.first, home);
        return nullptr;
    }
    CRelay& relay = m_relays[key];
    CUndo undo([&] {
        if (relay.leg) relay.leg->Close();
        if (relay.channel) m_medium.EndChannel(*relay.channel);
        m_relays.erase(key);
    });
    relay.channel = m_medium.MakeChannel({key.first, relay.legID.Get(), {home.ips[0], home.port}});
    if (!relay.channel) return nullptr;
    // A UDP subscriber is unvalidated yet: the channel is charged to its address once it is validated.
    const bool may = tcp ? m_medium.Hold(*relay.channel, asker)
                         : !m_medium.context.channelQuotas.IsFull(asker) || m_medium.Refuse(asker);
    if (!may) return nullptr;
    relay.leg = m_medium.adapter.MakeLeg(*relay.channel, home, tcp, m_bNews);
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
    const bool anew = m_medium.row.asksOnce;  // a new request replaces the one before
    const auto same = [&](const CSinkRequest& other) {
        return (anew || other.receiverID == request.receiverID) && other.address == request.address;
    };
    const auto waits = std::find_if(relay.waiting.begin(), relay.waiting.end(), same);
    if (waits != relay.waiting.end())
        *waits = request;
    else if (relay.waiting.size() < server::kMaxWaitingPerLeg)  // else it asks again by itself
        relay.waiting.push_back(request);
}

void CRelays::ServePending(CServerChannel& channel, const CMcuAddress& home) {
    for (const CPendingRequests::Pending& pending : m_pending.Take(channel.ChannelID(), home))
        m_sinks.Connect(channel, pending.request);
}

void CRelays::EndAll() {
    while (!m_relays.empty()) {
        m_relays.begin()->second.leg->Close();
        m_relays.erase(m_relays.begin());
    }
}
