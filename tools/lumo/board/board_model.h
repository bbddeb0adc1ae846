// The objects of a board as this process holds them.
#pragma once

#include "tools/lumo/board/record.h"
#include "tools/lumo/board/versions.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace lumo {

struct BoardObject {
    uint32_t tag = 0;            ///< its place in the stack: greater lies above; equal ones by ID
    mutable std::string record;  ///< docs/whiteboard-records.md; without the moves below: read it by Record
    bool own = false;            ///< drawn or offered here
    bool offline = false;        ///< the far side may lack it
    bool stale = false;          ///< of a connection that has broken: its present state is to come
    bool unheard = false;        ///< nobody can have it yet
    bool refused = false;        ///< the server had no room for it, and the pages know
    uint32_t echo = 0;           ///< which shows that the far side has it (CEchoes); 0: it has
    mutable Shift moved{};       ///< what the record has not seen yet

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
    bool Move(uint32_t id, const Shift& by);
    /// Where an object is; false when there is none or its place is not known.
    bool PlaceOf(uint32_t id, Box& box) const;

    /// The object that a thing is now which once was this one; 0 when there is none.
    uint32_t CurrentOf(uint32_t id) const;
    /// What a thing was when it was drawn that is this object, or was it not long ago.
    uint32_t OriginOf(uint32_t id) const { return m_versions.OriginOf(id); }
    /// Another object here that is the same thing as one of that record; 0 when there is none.
    uint32_t RivalOf(uint32_t id, std::string_view record) const;

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
    CVersions m_versions;
    size_t m_nBytes = 0;
};

}  // namespace lumo
