// How two ends find out that both are wide, each direction by itself.
#pragma once

#include "core/wide/wide_packets.h"

#include <atomic>
#include <cstdint>

namespace wide {

/// The sender offers a token in its data until an answer comes; whoever receives the data answers once the offer has
/// come on two different sequences. The receiving thread's, but for what is said to be any thread's.
class CAgreement {
public:
    /// Draws a token.
    void Open();
    /// Forgets the far side's.
    void Close();

    /// Writes the offer into a data packet of the given form; the rest of its header is set. Any thread.
    void Offer(char* packet) const { WriteOffer(packet, m_ulToken); }
    uint32_t Token() const { return m_ulToken; }
    /// Whether an acknowledgement answers this side's offer.
    bool IsAnswer(const char* packet) const { return wide::IsAnswer(packet, m_ulToken); }

    /// Looks for an offer in a data packet of the given form. True when the far side's offer counts from now on.
    bool OnGivenPacket(const char* packet, uint16_t sequence);
    /// The far side's token whose offer counts; 0: none. Any thread.
    uint32_t FarToken() const { return m_ulFarToken.load(std::memory_order_acquire); }

private:
    uint32_t m_ulToken = 0;
    std::atomic<uint32_t> m_ulFarToken{0};
    uint32_t m_ulHeard = 0;  // offered once
    uint16_t m_usHeardOn = 0;
};

}  // namespace wide
