// How long a link's callbacks take.
#pragma once

#include <chrono>

/// Tells whether the application was quick the last time, so that what is collected may wait for it. One thread.
template <class TClock>
class CBasicCallbackPace {
public:
    static constexpr std::chrono::microseconds kQuick{100};

    /// False before the first call.
    bool WasQuick() const { return m_bQuick; }

    template <class Call>
    void Measure(Call call) {
        const typename TClock::time_point begun = TClock::now();
        call();
        m_bQuick = TClock::now() - begun <= kQuick;
    }

private:
    bool m_bQuick = false;
};

using CCallbackPace = CBasicCallbackPace<std::chrono::steady_clock>;
