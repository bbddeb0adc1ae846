// The order in which a table's objects are visited.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

/// A map's objects side by side, because a walk from node to node of a tree waits for memory at every step. Made anew
/// at the first walk after a change. What a visit puts in or takes out on its own thread is honoured for the rest of
/// the walk. The owner of the map holds its lock throughout.
template <class T>
class CIDWalk {
public:
    /// Call it before the map takes one more; throws when there is no memory, so that no walk does.
    void Reserve(size_t count) {
        if (m_steps.capacity() < count) m_steps.reserve(count * 2);
    }
    void Changed() { ++m_ullChanges; }

    /// How far one walk has come.
    struct CPlace {
        bool begun = false;
        size_t at = 0;      // of the step after the last visit
        uint64_t last = 0;  // visited
        uint64_t seen = 0;  // changes
    };

    /// The next object in ascending order, or null. `objectOf` takes an entry of the map to its T*.
    template <class Map, class ObjectOf>
    T* Next(CPlace& place, const Map& map, ObjectOf objectOf) {
        if (!place.begun || place.seen != m_ullChanges) {
            Refresh(map, objectOf);
            place.at = place.begun ? FirstAfter(place.last) : 0;
            place.seen = m_ullChanges;
            place.begun = true;
        }
        if (place.at == m_steps.size()) return nullptr;
        const Step& step = m_steps[place.at++];
        if (place.at < m_steps.size()) __builtin_prefetch(m_steps[place.at].object);
        place.last = step.id;
        return step.object;
    }

private:
    struct Step {
        uint64_t id;
        T* object;
    };

    template <class Map, class ObjectOf>
    void Refresh(const Map& map, ObjectOf objectOf) {
        if (m_ullMade == m_ullChanges) return;
        m_steps.clear();
        for (const auto& [id, entry] : map) m_steps.push_back({id, objectOf(entry)});
        m_ullMade = m_ullChanges;
    }
    size_t FirstAfter(uint64_t last) const {
        const auto after = [](uint64_t id, const Step& step) { return id < step.id; };
        return static_cast<size_t>(std::upper_bound(m_steps.begin(), m_steps.end(), last, after) - m_steps.begin());
    }

    std::vector<Step> m_steps;
    uint64_t m_ullChanges = 0;
    uint64_t m_ullMade = 0;
};
