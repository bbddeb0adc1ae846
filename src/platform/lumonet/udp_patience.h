// Whether a receive thread looks again for a moment before it sleeps.
#pragma once

#include <sched.h>

#include <chrono>

/// Waking a sleeping thread costs both sides more than a short wait does. So while datagrams follow each other closely
/// the thread looks again for a moment, giving way to others each time; once they come far apart, or just too far for
/// a look to find them, it sleeps at once.
/// One thread.
template <class TClock>
class CBasicReceivePatience {
public:
    using Clock = TClock;
    static constexpr std::chrono::microseconds kLook{50};    ///< how long to look
    static constexpr std::chrono::microseconds kClose{150};  ///< waits up to this are close

    static constexpr int kSleeps = 64;  ///< without a look, once giving way took long or looks found nothing
    static constexpr int kMisses = 4;   ///< looks in a row that find nothing: a paced stream, say

    /// Calls `look` until it succeeds or patience ends; false at once when there is none.
    template <class Look>
    bool Try(Look look) {
        m_begun = Clock::now();
        if (m_nSleeps > 0) --m_nSleeps;
        if (!IsPatient()) return false;
        for (;;) {
            sched_yield();  // first: who is to answer may need this very processor
            const bool found = look();
            const typename Clock::duration waited = Clock::now() - m_begun;
            if (waited > kClose)
                m_nSleeps = kSleeps;  // others keep the processor: only who sleeps is woken before them
            if (!found && waited < kLook) continue;
            NoteLook(found);
            return found;
        }
    }

    /// After the sleep that followed.
    void Slept() { m_bPatient = Clock::now() - m_begun <= kClose; }
    bool IsPatient() const { return m_bPatient && m_nSleeps == 0; }

private:
    void NoteLook(bool found) {
        m_nMisses = found ? 0 : m_nMisses + 1;
        if (m_nMisses < kMisses) return;
        m_nMisses = 0;
        m_nSleeps = kSleeps;
    }

    bool m_bPatient = false;
    int m_nSleeps = 0;
    int m_nMisses = 0;
    typename Clock::time_point m_begun{};
};

using CReceivePatience = CBasicReceivePatience<std::chrono::steady_clock>;
