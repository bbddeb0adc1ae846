// When a sender or receiver of the library is given up and made anew.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace lumo {

enum class LinkAction { None, Create, Release };

/// Milliseconds.
struct LinkTimes {
    static constexpr uint64_t kForEver = UINT64_MAX / 4;

    uint64_t silence = 3000;
    uint64_t unaccepted = 3000;  ///< silence before the far side has taken us
    std::array<uint64_t, 6> pauses = {200, 500, 1000, 2000, 4000, 5000};
};

/// Of one who receives files from a server. Over UDP that acknowledges what the receiver says every second; over TCP it
/// says something every 12 s while nothing comes of a sender, and an answer may take two far round trips.
inline LinkTimes ReceiveTimes(bool tcp) {
    LinkTimes times;
    if (tcp) times.silence = times.unaccepted = 15000;
    return times;
}

/// Of one who publishes at a server. Over UDP that says something every 2 s, whoever listens: two of its words may be
/// lost, and a third come late. Over TCP it may have nothing to say, and the connection alone tells.
inline LinkTimes PublishTimes(bool tcp) {
    LinkTimes times;
    times.silence = tcp ? LinkTimes::kForEver : 6500;
    times.unaccepted = tcp ? LinkTimes::kForEver : 30000;  // the library asks again meanwhile
    return times;
}

/// Of one who sends files: whoever waits for receivers loses his channel to others while he is made anew, so that six
/// words in a row must be lost.
inline LinkTimes SendTimes(bool tcp) {
    LinkTimes times = PublishTimes(tcp);
    if (!tcp) times.silence = 12500;
    return times;
}

/// The library gives up only after minutes of silence; files should go on seconds after a relay has come back. One
/// thread.
class CLinkPolicy {
public:
    /// A path that carries one block in more than 3 s must not be given up for ever: each vain attempt waits longer.
    static constexpr uint64_t kMaxSilenceMs = 12000;

    explicit CLinkPolicy(const LinkTimes& times = LinkTimes()) : m_times(times), m_ullSilenceMs(times.silence) {}

    /// Something of the other side has come.
    void OnSignOfLife(uint64_t now) {
        m_ullLifeMs = now;
        m_ullSilenceMs = m_times.silence;
        m_nPause = 0;
    }
    /// The relay has taken us.
    void OnAccepted(uint64_t now) {
        m_bAccepted = true;
        m_ullLifeMs = now;
    }
    /// What to do now. After Create the link is up, after Release it is down.
    LinkAction Poll(uint64_t now, bool disconnected) {
        if (!m_bUp) {
            if (now < m_ullCreateMs) return LinkAction::None;
            m_bUp = true;
            m_bAccepted = false;
            m_ullLifeMs = now;
            return LinkAction::Create;
        }
        const uint64_t patience = m_bAccepted ? m_ullSilenceMs : std::max(m_ullSilenceMs, m_times.unaccepted);
        const uint64_t silent = now - std::min(now, m_ullLifeMs);  // a sign may be newer than the caller's `now`
        if (!disconnected && silent <= patience) return LinkAction::None;
        m_bUp = false;
        if (!disconnected) m_ullSilenceMs = std::max(m_times.silence, std::min(2 * m_ullSilenceMs, kMaxSilenceMs));
        m_ullCreateMs = now + m_times.pauses.at(m_bAccepted && !disconnected ? 0 : m_nPause);
        m_nPause = std::min(m_nPause + 1, m_times.pauses.size() - 1);
        return LinkAction::Release;
    }
    bool IsUp() const { return m_bUp; }
    bool IsAccepted() const { return m_bUp && m_bAccepted; }

private:
    LinkTimes m_times;
    bool m_bUp = false;
    bool m_bAccepted = false;
    uint64_t m_ullLifeMs = 0;
    uint64_t m_ullSilenceMs;
    uint64_t m_ullCreateMs = 0;
    size_t m_nPause = 0;
};

}  // namespace lumo
