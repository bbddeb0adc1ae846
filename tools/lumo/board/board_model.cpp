#include "tools/lumo/board/board_model.h"

#include <algorithm>
#include <utility>

namespace lumo {

const std::string& BoardObject::Record() const {
    if (!moved.IsNone()) MoveRecord(record, moved);
    moved = {};
    return record;
}

bool CBoardModel::HasRoom(size_t bytes, const BoardObject* insteadOf) const {
    const size_t count = m_objects.size() - (insteadOf ? 1 : 0);
    return count < kMaxObjects && bytes <= kMaxBytes - (m_nBytes - (insteadOf ? insteadOf->record.size() : 0));
}

bool CBoardModel::Add(uint32_t id, BoardObject object) {
    const BoardObject* held = Find(id);
    if ((held && !held->stale) || !HasRoom(object.record.size(), held)) return false;
    if (held) Remove(id);
    m_nBytes += object.record.size();
    ++m_tags[object.tag];
    m_versions.Add(id, VersionOf(object.record));
    m_objects.emplace(id, std::move(object));
    return true;
}

bool CBoardModel::Remove(uint32_t id) {
    const auto found = m_objects.find(id);
    if (found == m_objects.end()) return false;
    m_nBytes -= found->second.record.size();
    m_versions.Remove(id, VersionOf(found->second.record));
    const auto tag = m_tags.find(found->second.tag);
    if (--tag->second == 0) m_tags.erase(tag);
    m_objects.erase(found);
    return true;
}

bool CBoardModel::Move(uint32_t id, const Shift& by) {
    BoardObject* object = Find(id);
    if (!object) return false;
    object->moved.Add(by);
    return true;
}

bool CBoardModel::PlaceOf(uint32_t id, Box& box) const {
    const BoardObject* object = Find(id);
    if (!object || !lumo::PlaceOf(object->record, box)) return false;
    MoveBox(box, object->moved);
    return true;
}

uint32_t CBoardModel::CurrentOf(uint32_t id) const {
    if (Has(id)) return id;
    const uint32_t origin = OriginOf(id);
    return Has(origin) ? origin : m_versions.ChangedOf(origin);
}

uint32_t CBoardModel::RivalOf(uint32_t id, std::string_view record) const {
    const uint32_t origin = VersionOf(record).origin;
    if (origin != 0 && origin != id && Has(origin)) return origin;
    const uint32_t changed = m_versions.ChangedOf(origin != 0 ? origin : id);
    return changed != id ? changed : 0;
}

const BoardObject* CBoardModel::Find(uint32_t id) const {
    const auto found = m_objects.find(id);
    return found == m_objects.end() ? nullptr : &found->second;
}

BoardObject* CBoardModel::Find(uint32_t id) { return const_cast<BoardObject*>(std::as_const(*this).Find(id)); }

std::vector<uint32_t> CBoardModel::IDs() const {
    std::vector<uint32_t> ids;
    ids.reserve(m_objects.size());
    for (const auto& item : m_objects) ids.push_back(item.first);
    return ids;
}

// Somebody may have used the last number: what comes then shares it.
uint32_t CBoardModel::NextTag() const {
    return m_tags.empty() ? 1 : std::max(m_tags.rbegin()->first, m_tags.rbegin()->first + 1);
}

}  // namespace lumo
