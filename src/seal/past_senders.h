// What an opener remembers of key IDs whose keys it does not hold.
#pragma once

#include "seal/stream_rules.h"

#include <cstddef>
#include <map>

namespace seal {

/// Bounded, and never lets through what may have been opened before: when it has to let a key ID go, all of that start
/// or an earlier one that it does not remember count as seen. Not synchronised.
class CPastSenders {
public:
    static constexpr size_t kMost = 65536;
    /// How far the start of a sender that was never heard may be from this host's time.
    static constexpr uint64_t kStartMinutes = uint64_t{24} * 60;

    CPastSenders(Senders senders, bool anyStart) : m_senders(senders), m_bAnyStart(anyStart) {}

    /// SEAL_DONE when a frame of this sender, whose key is not held, may be tried.
    SealOutcome Judge(const Header& header) const;
    /// The highest counter of a sender that is remembered.
    bool Find(uint64_t keyID, uint64_t& highest) const;

    /// A sender whose key goes. Throws for want of memory, with nothing changed.
    void Remember(uint64_t keyID, uint64_t highest);
    /// A sender that a later one has replaced. The same.
    void Close(uint64_t keyID) { Remember(keyID, kClosed); }
    /// A sender whose key is held again.
    void Forget(uint64_t keyID) { m_highest.erase(keyID); }

    /// Whether senders of this start replace all that are known. They do so when it begins.
    bool IsLater(uint64_t keyID) const { return m_senders != Senders::Many && StartOf(keyID) > m_latestStart; }
    void BeginStart(uint64_t keyID);

    size_t Size() const { return m_highest.size(); }

private:
    static constexpr uint64_t kClosed = UINT64_MAX;

    const Senders m_senders;
    const bool m_bAnyStart;
    std::map<uint64_t, uint64_t> m_highest;  ///< by key ID, so the earliest start is first
    uint64_t m_latestStart = 0;
    bool m_bAnyForgotten = false;
    uint64_t m_forgottenStart = 0;  ///< the latest of those that were let go
};

}  // namespace seal
