// Which object a thing is now that was changed, and so became another object.
#pragma once

#include "tools/lumo/board/record.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>

namespace lumo {

/// Of the changed objects that a board holds, and of those that went not long ago. One thread, or its holder's lock.
class CVersions {
public:
    static constexpr size_t kMostGone = 10000;

    void Add(uint32_t id, const Version& version);
    void Remove(uint32_t id, const Version& version);
    /// The number of the thing when it was drawn: the object's own unless it was changed.
    uint32_t OriginOf(uint32_t id) const;
    /// The changed object that this thing is now; 0 when there is none.
    uint32_t ChangedOf(uint32_t origin) const;

private:
    std::map<uint32_t, uint32_t> m_changed;  // by origin
    std::map<uint32_t, uint32_t> m_origins;  // of those, and of the ones that went
    std::deque<uint32_t> m_gone;             // these
};

}  // namespace lumo
