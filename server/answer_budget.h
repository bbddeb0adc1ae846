// How much may be sent to an address that has not shown yet that it is there.
#pragma once

#include <cstdint>

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
