#include "tools/lumo/board/changes.h"

#include "tools/lumo/board/echoes.h"

#include <utility>

namespace lumo {

void CChanges::Delete(uint32_t id, uint32_t echo) {
    ForgetMoves(id);
    if (m_deleted.size() < kMost || IsDeleted(id)) m_deleted[id].echo = echo;
}

std::vector<uint32_t> CChanges::Deleted() const {
    std::vector<uint32_t> ids;
    ids.reserve(m_deleted.size());
    for (const auto& item : m_deleted) ids.push_back(item.first);
    return ids;
}

void CChanges::MarkAway(const std::vector<uint32_t>& ids) {
    for (const uint32_t id : ids) {
        const auto found = m_deleted.find(id);
        if (found != m_deleted.end()) found->second.away = true;
    }
}

std::vector<uint32_t> CChanges::TakeDeletedAway() {
    std::vector<uint32_t> ids;
    for (auto& [id, deletion] : m_deleted)
        if (std::exchange(deletion.away, false)) ids.push_back(id);
    return ids;
}

void CChanges::Move(uint32_t id, const Box& from, const Shift& by, bool said, uint32_t echo) {
    if (m_moved.size() >= kMost && m_moved.count(id) == 0) return;
    Moved& moved = m_moved.try_emplace(id, Moved{from, {}, {}, 0}).first->second;
    moved.all.Add(by);
    if (!said) moved.unsaid.Add(by);
    moved.echo = echo;
}

void CChanges::MovedByOthers(uint32_t id, const Shift& by) {
    const auto found = m_moved.find(id);
    if (found != m_moved.end()) MoveBox(found->second.from, by);
}

void CChanges::SayMoves(uint32_t id, uint32_t echo) {
    const auto found = m_moved.find(id);
    if (found == m_moved.end()) return;
    found->second.unsaid = {};
    found->second.echo = echo;
}

void CChanges::UnsayMoves(uint32_t id) {
    const auto found = m_moved.find(id);
    if (found != m_moved.end()) found->second.unsaid = found->second.all;
}

Box CChanges::Before(uint32_t id, const Box& place) const {
    const auto found = m_moved.find(id);
    return found == m_moved.end() ? place : found->second.from;
}

// An object that lies where it lay has got none of the moves that were said just before the break; one that lies
// elsewhere has got them.
Shift CChanges::MissingAt(uint32_t id, const Box& place) const {
    const auto found = m_moved.find(id);
    if (found == m_moved.end()) return {};
    return found->second.from == place ? found->second.all : found->second.unsaid;
}

void CChanges::OnEcho(uint32_t echo) {
    std::erase_if(m_deleted, [&](const auto& item) { return item.second.echo <= echo; });
    std::erase_if(m_moved, [&](const auto& item) { return item.second.echo <= echo && item.second.unsaid.IsNone(); });
}

void CChanges::OnBreak() {
    for (auto& item : m_deleted) item.second.echo = CEchoes::kNever;
    for (auto& item : m_moved) item.second.echo = CEchoes::kNever;
}

void CChanges::Clear() {
    m_deleted.clear();
    m_moved.clear();
}

}  // namespace lumo
