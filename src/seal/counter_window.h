// Which counters of one key ID have come, so that none is accepted twice.
#pragma once

#include <array>
#include <cstdint>

namespace seal {

/// Accepts what is above all that came, and where any order is allowed also what is missing among the last 1,024.
class CCounterWindow {
public:
    static constexpr uint64_t kWidth = 1024;

    explicit CCounterWindow(bool anyOrder) : m_bAnyOrder(anyOrder) {}

    bool MayCome(uint64_t counter) const {
        if (!m_bAny || counter > m_highest) return true;
        return m_bAnyOrder && m_highest - counter < kWidth && !Bit(counter);
    }

    /// Call it when the frame has opened, and only if it might come.
    void Note(uint64_t counter) {
        if (!m_bAny || counter > m_highest) MoveTo(counter);
        m_seen[Word(counter)] |= Mask(counter);
    }

    uint64_t Highest() const { return m_highest; }

    /// Goes on where another ended: nothing up to `highest` may come.
    void GoOnFrom(uint64_t highest) {
        m_seen.fill(~uint64_t{0});
        m_highest = highest;
        m_bAny = true;
    }

private:
    static size_t Word(uint64_t counter) { return counter % kWidth / 64; }
    static uint64_t Mask(uint64_t counter) { return uint64_t{1} << counter % 64; }
    bool Bit(uint64_t counter) const { return (m_seen[Word(counter)] & Mask(counter)) != 0; }

    void MoveTo(uint64_t counter) {
        if (!m_bAny || counter - m_highest >= kWidth)
            m_seen.fill(0);
        else
            for (uint64_t skipped = m_highest + 1; skipped < counter; ++skipped)
                m_seen[Word(skipped)] &= ~Mask(skipped);
        m_highest = counter;
        m_bAny = true;
    }

    const bool m_bAnyOrder;
    bool m_bAny = false;
    uint64_t m_highest = 0;
    std::array<uint64_t, kWidth / 64> m_seen{};
};

}  // namespace seal
