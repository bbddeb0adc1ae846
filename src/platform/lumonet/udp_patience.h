// Whether a receive thread looks again for a moment before it sleeps.
#pragma once

#include <sched.h>

#include <chrono>

/// Waking a sleeping thread costs both sides more than a short wait does. So while datagrams follow each other closely
/// the thread looks again for a moment, giving way to others each time; once they come far apart it sleeps at once.
/// One thread.
class CReceivePatience {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::microseconds kLook{50};    ///< how long to look
    static constexpr std::chrono::microseconds kClose{150};  ///< waits up to this are close

    /// Calls `look` until it succeeds or patience ends; false at once when there is none.
    template <class Look>
    bool Try(Look look) {
        m_begun = Clock::now();
        if (!m_bPatient) return false;
        do {
            sched_yield();  // first: who is to answer may need this very processor
            if (look()) return true;
        } while (Clock::now() - m_begun < kLook);
        return false;
    }

    /// After the sleep that followed.
    void Slept() { SleptUntil(Clock::now()); }
    void SleptUntil(Clock::time_point woken) { m_bPatient = woken - m_begun <= kClose; }
    bool IsPatient() const { return m_bPatient; }

private:
    bool m_bPatient = false;
    Clock::time_point m_begun{};
};
