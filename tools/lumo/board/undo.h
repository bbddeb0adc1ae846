// What this process has done to the board, so that it can be taken back.
#pragma once

#include "tools/lumo/board/record.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace lumo {

struct RemovedObject {
    uint32_t id = 0;
    uint32_t tag = 0;
    std::string record;
};

/// One of the three; what is added in the place of what is removed is one step.
struct BoardStep {
    std::vector<uint32_t> added;
    std::vector<RemovedObject> removed;
    std::vector<uint32_t> moved;
    Shift by{};

    bool Empty() const { return added.empty() && removed.empty() && moved.empty(); }
    /// Each came in the place of the one beside it.
    bool IsExchange() const { return !added.empty() && added.size() == removed.size(); }
};

/// Bounded: the oldest steps are forgotten. The last one stays, however much it removed: whoever clears a board may
/// take that back, and holds no more than the board did. One thread, or its holder's lock.
class CUndo {
public:
    static constexpr size_t kMaxSteps = 200;
    static constexpr size_t kMaxBytes = 64U * 1024 * 1024;

    /// Something new was done: what had been taken back cannot be done again.
    void Note(BoardStep step);
    /// The last step of either kind; false when there is none. Whoever takes it back puts what that did to the other.
    bool Take(bool redo, BoardStep& step);
    void Put(bool redo, BoardStep step);
    /// An object that came back goes by another number.
    void Rename(const std::map<uint32_t, uint32_t>& names);
    /// What was deleted under this number and may come back; null when there is no such object.
    const std::string* RecordOf(uint32_t id) const;
    /// Others have deleted these, too: nothing brings them back.
    void Forget(const std::vector<uint32_t>& ids);
    size_t Count(bool redo) const { return Steps(redo).size(); }

private:
    using Stack = std::deque<BoardStep>;
    Stack& Steps(bool redo) { return redo ? m_redo : m_undo; }
    const Stack& Steps(bool redo) const { return redo ? m_redo : m_undo; }
    static void Trim(Stack& stack);
    void Index();
    void AddToIndex(const BoardStep& step);

    Stack m_undo, m_redo;
    std::set<uint32_t> m_removed;    // by any step, and by some that are forgotten
    std::set<uint32_t> m_forgotten;  // of these
    size_t m_nIndexAgain = 0;        // when it has grown so far
};

}  // namespace lumo
