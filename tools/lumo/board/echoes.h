// Which of what was said has arrived.
#pragma once

#include <algorithm>
#include <cstdint>

namespace lumo {

/// The far side echoes a number once it has dealt with all that went to it before. What is drawn goes there only when
/// the far side asks for it, which it does before that echo: so the second echo in a row that is asked for after
/// something was said shows that it has arrived, however long it takes. Behind a near server it is the home server that
/// echoes, and what is drawn is asked for twice on its way: there the third one shows it. There an echo may stay away,
/// since the way beyond the near server breaks unseen: then the next is asked for, and the row begins anew. Numbers go
/// on from one connection to the next. One thread, or its holder's lock.
class CEchoes {
public:
    static constexpr uint64_t kAskEveryMs = 100;
    static constexpr uint64_t kAskHomeEveryMs = 500;  // near servers pass the answer on to everybody
    /// How long to wait for the home server's echo: twice as long after each that stayed away, since the way may be
    /// long.
    static constexpr uint64_t kLostAfterMs = 5000;
    static constexpr uint64_t kLostAfterMostMs = 20000;
    static constexpr uint32_t kNever = UINT32_MAX;

    /// A connection begins: what was asked before is not answered any more.
    void Begin(bool near) {
        m_bNear = near;
        m_ulRow = 0;
        m_ullWaitMs = kLostAfterMs;
        m_ulBegan = m_ulEchoed = m_ulShown = ++m_ulAsked;
    }
    /// Whether to ask the home server, and not the far side.
    bool AskHome() const { return m_bNear; }
    /// The echo that shows that what is said now has arrived.
    uint32_t ForWhatIsSaidNow() { return m_ulWanted = m_ulAsked + Rounds(); }
    /// Whether that echo has come; 0: it need not.
    bool Has(uint32_t number) const { return number <= m_ulShown; }
    /// The greatest number of which that is so.
    uint32_t Shown() const { return m_ulShown; }
    /// The far side has answered in this connection.
    bool Answers() const { return m_ulEchoed != m_ulBegan; }
    /// Whether to ask for the next number.
    bool IsDue(uint64_t now) const {
        const bool wanted = m_ulWanted > m_ulShown || !Answers();
        const bool free = m_ulAsked == m_ulEchoed || m_bLost || (m_bNear && now >= m_ullAskedMs + m_ullWaitMs);
        return wanted && free && now >= m_ullAskedMs + (m_bNear ? kAskHomeEveryMs : kAskEveryMs);
    }
    uint32_t Next() const { return m_ulAsked + 1; }
    void OnAsked(uint64_t now) {
        if (m_ulAsked != m_ulEchoed) {
            m_ulRow = 0;
            m_ullWaitMs = std::min(2 * m_ullWaitMs, kLostAfterMostMs);
        }
        ++m_ulAsked;
        m_bLost = false;
        m_ullAskedMs = now;
    }
    /// What was asked last may never be heard.
    void OnLost() { m_bLost = true; }
    /// False for a number that was not asked for last.
    bool OnEcho(uint32_t number) {
        if (number != m_ulAsked || m_ulAsked == m_ulEchoed) return false;
        m_ulEchoed = number;
        if (++m_ulRow >= Rounds()) m_ulShown = number;
        return true;
    }
    /// The last echo was the first of a row.
    bool BeginsRow() const { return m_ulRow == 1; }

private:
    uint32_t Rounds() const { return m_bNear ? 3 : 2; }

    bool m_bNear = false;
    uint32_t m_ulAsked = 0;   // last
    uint32_t m_ulEchoed = 0;  // last
    uint32_t m_ulShown = 0;   // last that came in a row long enough
    uint32_t m_ulRow = 0;     // how many have come without one that stayed away
    uint32_t m_ulWanted = 0;
    uint32_t m_ulBegan = 0;  // last before this connection
    uint64_t m_ullAskedMs = 0;
    uint64_t m_ullWaitMs = kLostAfterMs;
    bool m_bLost = false;
};

}  // namespace lumo
