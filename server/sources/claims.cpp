#include "server/sources/claims.h"

#include "link/activity.h"
#include "link/process/mcu_services.h"
#include "platform/lumobase/undo.h"
#include "server/server_constants.h"
#include "server/sources/source.h"

using wire::CWireWriter;

CClaims::CClaims(const CMediumRow& row, size_t perAddress, const CCidrList& trusted)
    : m_row(row), m_order(server::kMaxClaims, perAddress, trusted) {}

void CClaims::OnConnect(uint32_t channelID, uint32_t senderKey, const CEndpointAddress& address, int length,
                        uint32_t wanted) {
    const auto found = m_byKey.find({channelID, senderKey, address.ip, address.port});
    Answer(found == m_byKey.end() ? Make(channelID, senderKey, address) : *found->second, length, wanted);
}

CClaim& CClaims::Make(uint32_t channelID, uint32_t senderKey, const CEndpointAddress& address) {
    if (const uint32_t gives = m_order.WhoGivesWayTo(address.ip)) Take(gives);
    auto made = std::make_unique<CClaim>(channelID, senderKey, address);
    CClaim& claim = *made;
    const uint32_t id = claim.sourceID.Get();
    claim.since = CActivity::Now();
    CUndo undo([&] {
        m_byKey.erase(KeyOf(claim));
        m_claims.erase(id);
    });
    CClaim* const kept = (m_claims[id] = std::move(made)).get();
    m_byKey[KeyOf(*kept)] = kept;
    m_order.Add(id, address.ip, channelID);
    undo.Keep();
    return *kept;
}

// An unvalidated publisher gets one answer and the keep-alive whose answer validates it. The repetition of the first
// answer waits until then: either may be lost, and what the budget leaves is for asking again.
void CClaims::Answer(CClaim& claim, int length, uint32_t wanted) const {
    claim.owed = m_row.source.connectAcks;
    claim.budget.Received(length);
    const CWireWriter answer = SourceConnectAck(m_row, claim.senderKey, claim.sourceID.Get());
    if (claim.budget.Spend(answer.Length())) {
        SendDatagram(answer, claim.address.ip, claim.address.port);
        --claim.owed;
    }
    Ask(claim, wanted);
}

// A second START does not fit the budget, but a STOP does, and its answer validates the publisher as well: START
// follows then.
bool CClaims::Ask(CClaim& claim, uint32_t wanted) const {
    for (const uint32_t told : {wanted, 0U}) {
        const CWireWriter question = SourceKeepAlive(m_row, claim.senderKey, told);
        if (!claim.budget.Spend(question.Length())) continue;
        claim.told = told;
        claim.askedAt = CActivity::Now();
        SendDatagram(question, claim.address.ip, claim.address.port);
        return true;
    }
    return false;
}

bool CClaims::IsDue(const CClaim& claim, uint32_t now) {
    return ElapsedMs(now, claim.askedAt) >= server::kKeepAliveEveryMs;
}

// What the UDP thread sends to a publisher that is being validated must not be overtaken.
void CClaims::FlushAsked() const {
    if (m_row.Stops()) FlushUdpBatch();
}

uint32_t CClaims::ChannelOf(uint32_t sourceID, const CEndpointAddress& address) const {
    const auto found = m_claims.find(sourceID);
    return found != m_claims.end() && found->second->address == address ? found->second->channelID : 0;
}

std::unique_ptr<CClaim> CClaims::Take(uint32_t sourceID) {
    const auto found = m_claims.find(sourceID);
    if (found == m_claims.end()) return nullptr;
    std::unique_ptr<CClaim> claim = std::move(found->second);
    m_claims.erase(found);
    m_byKey.erase(KeyOf(*claim));
    m_order.Remove(sourceID);
    return claim;
}

void CClaims::EndAllOf(uint32_t channelID) {
    for (;;) {
        const auto found = m_byKey.lower_bound({channelID, 0, 0, 0});
        if (found == m_byKey.end() || found->second->channelID != channelID) return;
        Take(found->second->sourceID.Get());
    }
}

void CClaims::ForgetOld(uint32_t now) {
    while (const uint32_t oldest = m_order.Oldest()) {
        if (ElapsedMs(now, m_claims.at(oldest)->since) <= media::kGoneAfterMs) return;
        Take(oldest);
    }
}
