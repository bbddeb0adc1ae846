// Which numbers of a growing row are there: disjoint intervals, ascending.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace wide {

/// From `first` to before `end`.
struct Interval {
    uint64_t first;
    uint64_t end;
};

/// Costs a binary search where a whole interval is known already, and a shift of the later ones where one begins or
/// two join. Not synchronised.
class CIntervals {
public:
    bool IsEmpty() const { return m_all.empty(); }
    const std::vector<Interval>& All() const { return m_all; }
    bool Contains(uint64_t number) const {
        const auto found = EndingBehind(number);
        return found != m_all.end() && found->first <= number;
    }
    /// The interval that holds a number; it must be there.
    const Interval& Around(uint64_t number) const { return *EndingBehind(number); }

    /// Adds what is in the interval, and tells `fresh(number)` of each number that was not there before.
    template <class Fresh>
    void Add(Interval added, const Fresh& fresh) {
        auto from = std::lower_bound(m_all.begin(), m_all.end(), added.first,
                                     [](const Interval& one, uint64_t first) { return one.end < first; });
        uint64_t next = added.first;  // what is before it has been told
        auto to = from;
        for (; to != m_all.end() && to->first <= added.end; ++to) {
            for (; next < std::min(to->first, added.end); ++next) fresh(next);
            next = std::max(next, to->end);
        }
        for (; next < added.end; ++next) fresh(next);
        if (from == to) {
            m_all.insert(from, added);
            return;
        }
        *from = {std::min(from->first, added.first), std::max((to - 1)->end, added.end)};
        m_all.erase(from + 1, to);
    }

    /// Forgets every number before this one.
    void DropBefore(uint64_t number) {
        const auto kept = EndingBehind(number);
        if (kept != m_all.end()) kept->first = std::max(kept->first, number);
        m_all.erase(m_all.begin(), kept);
        if (m_all.empty() && m_all.capacity() > kKept) Clear();
    }
    void Clear() { std::vector<Interval>().swap(m_all); }

private:
    template <class Self>
    static auto Find(Self& self, uint64_t number) {
        return std::upper_bound(self.m_all.begin(), self.m_all.end(), number,
                                [](uint64_t wanted, const Interval& one) { return wanted < one.end; });
    }
    std::vector<Interval>::iterator EndingBehind(uint64_t number) { return Find(*this, number); }
    std::vector<Interval>::const_iterator EndingBehind(uint64_t number) const { return Find(*this, number); }

    static constexpr size_t kKept = 64;  // an idle link keeps next to nothing

    std::vector<Interval> m_all;
};

}  // namespace wide
