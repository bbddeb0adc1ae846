// A row of elements with running numbers, of which the oldest leave and new ones join.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

namespace wide {

/// Elements keep their number. Grows by doubling, and gives its memory back when it is emptied by Clear. Not
/// synchronised.
template <class T>
class CRing {
public:
    uint64_t First() const { return m_nFirst; }
    uint64_t Next() const { return m_nNext; }
    size_t Size() const { return static_cast<size_t>(m_nNext - m_nFirst); }
    size_t Capacity() const { return m_nCapacity; }
    bool IsEmpty() const { return m_nNext == m_nFirst; }
    bool Has(uint64_t number) const { return number - m_nFirst < m_nNext - m_nFirst; }
    T& operator[](uint64_t number) { return m_pSlots[Slot(number)]; }
    const T& operator[](uint64_t number) const { return m_pSlots[Slot(number)]; }

    /// False without memory, and nothing has changed.
    bool PushBack(T element) {
        if (Size() == m_nCapacity && !Grow(2 * m_nCapacity)) return false;
        m_pSlots[Slot(m_nNext++)] = std::move(element);
        return true;
    }
    /// Slots that it would have with room up to before this number.
    size_t SlotsFor(uint64_t end) const { return std::max(m_nCapacity, Rounded(end - m_nFirst)); }
    /// Room up to before this number, with empty elements.
    bool Extend(uint64_t end) {
        if (end <= m_nNext) return true;
        if (end - m_nFirst > m_nCapacity && !Grow(end - m_nFirst)) return false;
        m_nNext = end;
        return true;
    }
    void PopFront() { m_pSlots[Slot(m_nFirst++)] = T(); }
    /// Empties it; the next element will have this number.
    void Clear(uint64_t next = 0) {
        m_pSlots.reset();
        m_nCapacity = 0;
        m_nFirst = m_nNext = next;
    }

private:
    static constexpr size_t kLeast = 32;

    size_t Slot(uint64_t number) const { return static_cast<size_t>(number & (m_nCapacity - 1)); }

    static size_t Rounded(uint64_t least) {
        size_t capacity = kLeast;
        while (capacity < least) capacity *= 2;
        return capacity;
    }

    bool Grow(uint64_t least) {
        const size_t capacity = Rounded(least);
        std::unique_ptr<T[]> slots(new (std::nothrow) T[capacity]());
        if (!slots) return false;
        for (uint64_t i = m_nFirst; i < m_nNext; ++i)
            slots[static_cast<size_t>(i & (capacity - 1))] = std::move((*this)[i]);
        m_pSlots = std::move(slots);
        m_nCapacity = capacity;
        return true;
    }

    std::unique_ptr<T[]> m_pSlots;
    size_t m_nCapacity = 0;
    uint64_t m_nFirst = 0;
    uint64_t m_nNext = 0;
};

}  // namespace wide
