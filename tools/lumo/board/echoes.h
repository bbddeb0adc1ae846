// Which of what was said has arrived.
#pragma once

#include <cstdint>

namespace lumo {

/// The far side echoes a number once it has dealt with all that went to it before. What is drawn goes there only when
/// the far side asks for it, which it does before that echo: so the second echo that is asked for after something was
/// said shows that it has arrived. Numbers go on from one connection to the next. One thread, or its holder's lock.
class CEchoes {
public:
    static constexpr uint64_t kAskEveryMs = 100;
    static constexpr uint32_t kNever = UINT32_MAX;

    /// A connection begins: what was asked before is not answered any more.
    void Begin() { m_ulBegan = m_ulEchoed = ++m_ulAsked; }
    /// The echo that shows that what is said now has arrived.
    uint32_t ForWhatIsSaidNow() { return m_ulWanted = m_ulAsked + 2; }
    /// Whether that echo has come; 0: it need not.
    bool Has(uint32_t number) const { return number <= m_ulEchoed; }
    /// The far side has answered in this connection.
    bool Answers() const { return m_ulEchoed != m_ulBegan; }
    /// Whether to ask for the next number.
    bool IsDue(uint64_t now) const {
        const bool wanted = m_ulWanted > m_ulEchoed || !Answers();
        return wanted && (m_ulAsked == m_ulEchoed || m_bLost) && now >= m_ullAskedMs + kAskEveryMs;
    }
    uint32_t Next() const { return m_ulAsked + 1; }
    void OnAsked(uint64_t now) {
        ++m_ulAsked;
        m_bLost = false;
        m_ullAskedMs = now;
    }
    /// What was asked last may never be heard.
    void OnLost() { m_bLost = true; }
    /// False for a number that was not asked for.
    bool OnEcho(uint32_t number) {
        if (number != m_ulAsked || m_ulAsked == m_ulEchoed) return false;
        m_ulEchoed = number;
        return true;
    }

private:
    uint32_t m_ulAsked = 0;   // last
    uint32_t m_ulEchoed = 0;  // last
    uint32_t m_ulWanted = 0;
    uint32_t m_ulBegan = 0;  // last before this connection
    uint64_t m_ullAskedMs = 0;
    bool m_bLost = false;
};

}  // namespace lumo
