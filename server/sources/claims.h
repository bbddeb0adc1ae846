// Claims: requests of unvalidated publishers over UDP.
#pragma once

#include "link/bounds/unvalidated.h"
#include "link/tables/object_id.h"
#include "server/sources/source.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <tuple>
#include <unordered_map>

/// How much may be sent to an unvalidated address.
/// Never more than three times what came from it, IP and UDP headers included, so that nobody gains by forging a
/// sender's address. Lengths are those of whole datagrams. One thread at a time.
class CAnswerBudget {
public:
    void Received(int length) { m_nLeft += kFactor * OnWire(length); }
    /// Whether a datagram of this length may leave; it is counted then.
    bool Spend(int length) {
        if (OnWire(length) > m_nLeft) return false;
        m_nLeft -= OnWire(length);
        return true;
    }

private:
    static constexpr int64_t kFactor = 3;
    static constexpr int kHeaders = 20 + 8;
    static int64_t OnWire(int length) { return length + kHeaders; }

    int64_t m_nLeft = 0;
};

/// One publisher's request for one channel. Its source ID becomes the source's if the publisher is validated and
/// admitted.
struct CClaim {
    CClaim(uint32_t channel, uint32_t key, const CEndpointAddress& from)
        : channelID(channel), senderKey(key), address(from) {}

    const uint32_t channelID;
    const uint32_t senderKey;
    const CEndpointAddress address;
    const CObjectID sourceID;
    CAnswerBudget budget;
    int owed = 0;          ///< acknowledgements of its last request
    uint32_t told = 0;     ///< how many listen, as it was last told
    uint32_t since = 0;    ///< its first request
    uint32_t askedAt = 0;  ///< when it was last told anything
};

/// A claim blocks nobody and has no channel; its publisher gets only answers to its requests and the keep-alive whose
/// answer validates it, within the claim's budget. At its quota an address gives up its own oldest claim. Everything
/// under the gate but Count.
class CClaims {
public:
    CClaims(const CMediumRow& row, size_t perAddress, const CCidrList& trusted);

    /// A connect request of `length` bytes; `wanted`: how many listen to the channel.
    void OnConnect(uint32_t channelID, uint32_t senderKey, const CEndpointAddress& address, int length,
                   uint32_t wanted);
    /// The channel of the claim that this address made; 0 when there is none.
    uint32_t ChannelOf(uint32_t sourceID, const CEndpointAddress& address) const;
    /// Takes the claim out, to make a source of it.
    std::unique_ptr<CClaim> Take(uint32_t sourceID);
    /// Another publisher has the channel now: ends every claim on it.
    void EndAllOf(uint32_t channelID);
    /// Asks the publishers again whose claims' budgets have room; `wantedOf` gives the number of a channel's
    /// subscribers.
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

    static Key KeyOf(const CClaim& claim) {
        return {claim.channelID, claim.senderKey, claim.address.ip, claim.address.port};
    }
    CClaim& Make(uint32_t channelID, uint32_t senderKey, const CEndpointAddress& address);
    void Answer(CClaim& claim, int length, uint32_t wanted) const;
    bool Ask(CClaim& claim, uint32_t wanted) const;
    static bool IsDue(const CClaim& claim, uint32_t now);
    void ForgetOld(uint32_t now);
    void FlushAsked() const;

    const CMediumRow& m_row;
    CUnvalidated m_order;
    std::unordered_map<uint32_t, std::unique_ptr<CClaim>> m_claims;  // by source ID, which is ours
    std::map<Key, CClaim*> m_byKey;                                  // ordered: the keys come from the far side
};
