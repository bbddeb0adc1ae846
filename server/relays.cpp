#include "server/relays.h"

#include "link/activity.h"
#include "platform/lumonet/lumonet.h"

#include <algorithm>

void CRelays::Keep(const CSinkRequest& request, const CMcuAddress& home) {
    if (m_medium.profile.subscribersAskOnce) m_kept.Keep(request, home, CActivity::Now());
}

void CRelays::Ask(const CSinkRequest& request, const CMcuAddress& home) {
    Keep(request, home);
    Serve(request, home);
}

void CRelays::Serve(const CSinkRequest& request, const CMcuAddress& home) {
    CRelay* relay = FindOrStart(request.channelID, request.peer.ip, home, false);
    if (!relay) return;
    Doubt(*relay);
    if (!Serves(*relay)) return Wait(*relay, request);
    m_kept.Forget(request);
    m_sinks.Connect(*relay->stream, request);
}

bool CRelays::AskTcp(ITcpSession* session, const CSinkRequest& request, const CMcuAddress& home) {
    CRelay* relay = FindOrStart(request.channelID, request.peer.ip, home, true);
    if (!relay) return false;
    Doubt(*relay);
    const uint32_t sinkID = m_sinks.Accept(*relay->stream, session, request);
    if (sinkID != 0 && !Serves(*relay)) relay->waitingTcp.emplace_back(sinkID, CActivity::Now());
    return sinkID != 0;
}

CRelays::CRelay* CRelays::FindOrStart(uint32_t channelID, uint32_t asker, const CMcuAddress& home, bool tcp) {
    const auto found = m_relays.find(channelID);
    return found != m_relays.end() ? &found->second : Start(channelID, asker, home, tcp);
}

bool CRelays::MayStart(uint32_t asker) const {
    size_t pending = 0;
    size_t ofAsker = 0;
    for (const auto& entry : m_relays) {
        if (entry.second.leg->IsUp()) continue;
        ++pending;
        if (entry.second.asker == asker) ++ofAsker;
    }
    return pending < server::kMaxPendingLegs && ofAsker < server::kPendingLegsPerAsker;
}

CRelays::CRelay* CRelays::Start(uint32_t channelID, uint32_t asker, const CMcuAddress& home, bool tcp) {
    const CMcuAddress far = m_medium.context.policy.Filter(home);
    if (far.IsEmpty() || !MayStart(asker)) return nullptr;
    // An unproved publisher's claim may stand already, or one that fell silent; the relay serves until it shows itself.
    std::shared_ptr<CStream> stream = m_medium.streams.Find(channelID);
    if (!stream) stream = m_medium.MakeStream(channelID);
    if (!stream) return nullptr;
    CRelay& relay = m_relays[channelID];
    relay.stream = stream;
    relay.leg = m_medium.classes.MakeLeg(*stream, far, tcp, m_bNews);
    relay.asker = asker;
    relay.pendingSince = CActivity::Now();
    relay.open = relay.leg->Open();
    stream->SetHome(false);  // while both servers looked at each other, they would serve in a circle
    stream->SetRelayedFrom(far.ips[0]);
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
    const bool anew = m_medium.profile.subscribersAskOnce;  // it has given up the request before
    const auto same = [&](const CSinkRequest& other) {
        return (anew || other.receiverID == request.receiverID) && other.peer == request.peer;
    };
    const auto waits = std::find_if(relay.waiting.begin(), relay.waiting.end(), same);
    if (waits != relay.waiting.end())
        *waits = request;
    else if (relay.waiting.size() < server::kMaxWaitingPerLeg)  // else it asks again by itself
        relay.waiting.push_back(request);
}

void CRelays::End(CStream& stream) {
    const auto found = m_relays.find(stream.ChannelID());
    if (found != m_relays.end()) {
        CRelay& relay = found->second;
        relay.leg->Close();
        ServeWaiting(relay);  // from now on by the publisher
        stream.SetRelayedFrom(0);
        m_relays.erase(found);
    }
    for (const CKeptRequests::Kept& kept : m_kept.Take(stream.ChannelID(), false))
        m_sinks.Connect(stream, kept.request);
}

void CRelays::EndAll() {
    while (!m_relays.empty()) {
        m_relays.begin()->second.leg->Close();
        m_relays.erase(m_relays.begin());
    }
}
