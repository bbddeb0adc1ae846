// The objects of a board as this process holds them.
#pragma once

#include "tools/lumo/board/record.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace lumo {

struct BoardObject {
    uint32_t tag = 0;                 ///< its place in the stack: greater lies above; equal ones by ID
    mutable std::string record;       ///< docs/whiteboard-records.md; without the moves below: read it by Record
    bool own = false;                 ///< drawn or offered here
    bool offline = false;             ///< not offered to anybody yet
    uint64_t addedMs = 0;             ///< when it came, or was last offered
    bool stale = false;               ///< of a connection that has broken: the next one shows whether it is there still
    mutable uint32_t dx = 0, dy = 0;  ///< moves that the record has not seen yet

    const std::string& Record() const;
};

/// Holds no more than a channel does. One thread, or its holder's lock.
class CBoardModel {
public:
    static constexpr size_t kMaxObjects = 100000;
    static constexpr size_t kMaxBytes = 256U * 1024 * 1024;

    /// False when it is held already and not stale, or has no room.
    bool Add(uint32_t id, BoardObject object);
    /// For a record of so many bytes, when another object goes for it or none (null).
    bool HasRoom(size_t bytes, const BoardObject* insteadOf) const;
    bool Remove(uint32_t id);
    /// False when there is none. Costs the same however long the record is, so that a short message cannot keep us
    /// busy.
    bool Move(uint32_t id, int32_t dx, int32_t dy);
    /// Where an object is; false when there is none or its place is not known.
    bool PlaceOf(uint32_t id, Box& box) const;
    void Clear();

    bool Has(uint32_t id) const { return m_objects.count(id) != 0; }
    const BoardObject* Find(uint32_t id) const;
    BoardObject* Find(uint32_t id);
    const std::map<uint32_t, BoardObject>& Objects() const { return m_objects; }
    std::vector<uint32_t> IDs() const;
    /// Above everything there is.
    uint32_t NextTag() const;

private:
    std::map<uint32_t, BoardObject> m_objects;
    std::map<uint32_t, size_t> m_tags;  // how many objects have each
    size_t m_nBytes = 0;
};

}  // namespace lumo
