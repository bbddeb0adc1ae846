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

    /// One call, for as long as this lives.
    class CTiming {
    public:
        explicit CTiming(CBasicCallPace& pace) : m_pace(pace), m_begun(TClock::now()) {}
        ~CTiming() { m_pace.m_bQuick = TClock::now() - m_begun <= kQuick; }
        CTiming(const CTiming&) = delete;
        CTiming& operator=(const CTiming&) = delete;

    private:
        CBasicCallPace& m_pace;
        const typename TClock::time_point m_begun;
    };

private:
    bool m_bQuick = false;
};

using CCallPace = CBasicCallPace<std::chrono::steady_clock>;
