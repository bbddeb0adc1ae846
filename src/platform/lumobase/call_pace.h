// How long calls of one kind take.
#pragma once

#include <chrono>

/// Tells whether the last call was quick, so that work may wait for the next. One thread.
template <class TClock>
class CBasicCallPace {
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

using CCallPace = CBasicCallPace<std::chrono::steady_clock>;
