// When a sender or receiver of the library is given up and made anew.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace lumo {

enum class LinkAction { None, Create, Release };

/// The library gives up only after minutes of silence; files should go on seconds after a relay has come back. One
/// thread.
class CLinkPolicy {
public:
    static constexpr uint64_t kSilenceMs = 3000;
    /// A path that carries one block in more than 3 s must not be given up for ever: each vain attempt waits longer.
    static constexpr uint64_t kMaxSilenceMs = 12000;
    static constexpr std::array<uint64_t, 6> kPausesMs = {200, 500, 1000, 2000, 4000, 5000};

    /// A frame of the other side has come.
    void OnSignOfLife(uint64_t now) {
        m_ullLifeMs = now;
        m_ullSilenceMs = kSilenceMs;
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
        if (!disconnected && now - m_ullLifeMs <= m_ullSilenceMs) return LinkAction::None;
        m_bUp = false;
        if (!disconnected) m_ullSilenceMs = std::min(2 * m_ullSilenceMs, kMaxSilenceMs);
        m_ullCreateMs = now + kPausesMs[m_bAccepted && !disconnected ? 0 : m_nPause];
        m_nPause = std::min(m_nPause + 1, kPausesMs.size() - 1);
        return LinkAction::Release;
    }
    bool IsUp() const { return m_bUp; }
    bool IsAccepted() const { return m_bUp && m_bAccepted; }

private:
    bool m_bUp = false;
    bool m_bAccepted = false;
    uint64_t m_ullLifeMs = 0;
    uint64_t m_ullSilenceMs = kSilenceMs;
    uint64_t m_ullCreateMs = 0;
    size_t m_nPause = 0;
};

}  // namespace lumo
