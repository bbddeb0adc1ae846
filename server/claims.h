// Publishers over UDP who have asked and not shown themselves yet.
#pragma once

#include "link/object_id.h"
#include "link/unproved.h"
#include "server/answer_budget.h"
#include "server/source.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <tuple>
#include <unordered_map>

/// One publisher's wish for one channel. Its source ID is the source's, if it becomes one.
struct CClaim {
    CClaim(uint32_t channel, uint32_t key, const CPeer& from) : channelID(channel), senderKey(key), peer(from) {}

    const uint32_t channelID;
    const uint32_t senderKey;
    const CPeer peer;
    const CObjectID sourceID;
    CAnswerBudget budget;
    int owed = 0;          ///< acknowledgements of its last request
    uint32_t told = 0;     ///< how many listen, as it was last told
    uint32_t since = 0;    ///< its first request
    uint32_t askedAt = 0;  ///< when it was last told anything
};

/// They keep nobody out, have no channel, and get no more than the answers to their requests and the question that
/// proves them, within their budget. An address that has its share gives up its own oldest. Everything under the gate
/// but Count.
class CClaims {
public:
    CClaims(const CMediumRow& row, size_t perAddress, const CCidrList& trusted);

    /// A connect request of `length` bytes; `wanted`: how many listen to the channel.
    void OnConnect(uint32_t channelID, uint32_t senderKey, const CPeer& peer, int length, uint32_t wanted);
    /// The channel of a claim that this peer made; 0 when there is none.
    uint32_t ChannelOf(uint32_t sourceID, const CPeer& peer) const;
    /// The same claim, for who makes a source of it.
    std::unique_ptr<CClaim> Take(uint32_t sourceID);
    /// Somebody else publishes the channel now.
    void EndAllOf(uint32_t channelID);
    /// Asks those again whose budget has room; `wantedOf` says how many listen to a channel.
    template <class WantedOf>
    void OnSecond(uint32_t now, WantedOf wantedOf) {
        ForgetOld(now);
        bool asked = false;
        for (auto& [id, claim] : m_claims)
            if (IsDue(*claim, now)) asked = Ask(*claim, wantedOf(claim->channelID)) || asked;
        if (asked) FlushAsked();
    }
    /// Any thread.
    size_t Count() const { return m_order.Count(); }

private:
    using Key = std::tuple<uint32_t, uint32_t, uint32_t, uint16_t>;  // channel, sender key, address, port

    static Key KeyOf(const CClaim& claim) { return {claim.channelID, claim.senderKey, claim.peer.ip, claim.peer.port}; }
    CClaim& Make(uint32_t channelID, uint32_t senderKey, const CPeer& peer);
    void Answer(CClaim& claim, int length, uint32_t wanted) const;
    bool Ask(CClaim& claim, uint32_t wanted) const;
    static bool IsDue(const CClaim& claim, uint32_t now);
    void ForgetOld(uint32_t now);
    void FlushAsked() const;

    const CMediumRow& m_row;
    CUnproved m_order;
    std::unordered_map<uint32_t, std::unique_ptr<CClaim>> m_claims;  // by source ID, which is ours
    std::map<Key, CClaim*> m_byKey;                                  // ordered: the keys come from the far side
};
