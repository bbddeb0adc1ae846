// Deletions and moves that the far side may not know of.
#pragma once

#include "tools/lumo/board/record.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace lumo {

/// Kept until an echo (CEchoes) shows that they have arrived, so that they are said again after a break. Bounded: what
/// comes beyond is not said again. One thread, or its holder's lock.
class CChanges {
public:
    static constexpr size_t kMost = 100000;  // of either kind

    /// `echo`: the one that shows its arrival; CEchoes::kNever for what is not said yet.
    void Delete(uint32_t id, uint32_t echo);
    bool IsDeleted(uint32_t id) const { return m_deleted.count(id) != 0; }
    std::vector<uint32_t> Deleted() const;
    /// The far side had these, and was away when they were deleted.
    void MarkAway(const std::vector<uint32_t>& ids);
    /// Those that were marked so since the last call.
    std::vector<uint32_t> TakeDeletedAway();
    /// An object that lay at `from`. What is not said yet is due once its present state has come.
    void Move(uint32_t id, const Box& from, const Shift& by, bool said, uint32_t echo);
    /// Somebody else has moved it.
    void MovedByOthers(uint32_t id, const Shift& by);
    /// All that is kept of its moves is said now, with the object.
    void SayMoves(uint32_t id, uint32_t echo);
    /// Where an object that lies at `place` lay before the moves that are kept.
    Box Before(uint32_t id, const Box& place) const;
    /// They were said, and not heard.
    void UnsayMoves(uint32_t id);
    /// The far side has the object there: what of our moves it lacks.
    Shift MissingAt(uint32_t id, const Box& place) const;
    /// Its moves go with it.
    void ForgetMoves(uint32_t id) { m_moved.erase(id); }
    bool HasMoves() const { return !m_moved.empty(); }
    bool HasMoves(uint32_t id) const { return m_moved.count(id) != 0; }

    /// The echoes up to this one have come.
    void OnEcho(uint32_t echo);
    /// None of what is left has arrived for certain.
    void OnBreak();
    void Clear();

private:
    struct Moved {
        Box from;
        Shift all;     // since it lay there
        Shift unsaid;  // the part of it that the far side cannot have
        uint32_t echo = 0;
    };
    struct Deletion {
        uint32_t echo = 0;
        bool away = false;
    };
    std::map<uint32_t, Deletion> m_deleted;
    std::map<uint32_t, Moved> m_moved;
};

}  // namespace lumo
