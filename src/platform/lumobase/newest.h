// What is worth sending only while it is new.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <utility>

/// One frame a key, in the order in which the keys began to wait. Not synchronised.
template <class TFrame>
class CNewest {
public:
    static constexpr size_t kMost = 256;

    bool IsEmpty() const { return m_frames.empty(); }
    bool Has(uint64_t key) const { return Find(m_frames, key) != m_frames.end(); }
    /// Whether a frame of this key may wait here.
    bool Takes(uint64_t key) const { return m_frames.size() < kMost || Has(key); }
    /// The frame takes the place of the older one of its key.
    void Put(uint64_t key, TFrame frame) {
        const auto older = Find(m_frames, key);
        if (older != m_frames.end())
            older->second = std::move(frame);
        else
            m_frames.emplace_back(key, std::move(frame));
    }
    /// The frame whose key waits longest; false when there is none.
    bool Take(TFrame& frame) {
        if (m_frames.empty()) return false;
        frame = std::move(m_frames.front().second);
        m_frames.pop_front();
        return true;
    }
    void Clear() { m_frames.clear(); }

private:
    template <class TFrames>
    static auto Find(TFrames& frames, uint64_t key) {
        return std::find_if(frames.begin(), frames.end(), [key](const auto& one) { return one.first == key; });
    }

    std::deque<std::pair<uint64_t, TFrame>> m_frames;
};
