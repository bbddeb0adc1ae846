#include "tools/lumo/board/board_life.h"

#include "tools/lumo/board/little_endian.h"

#include <algorithm>
#include <utility>

namespace lumo {

namespace {
constexpr size_t kClearingsAt = 4;
constexpr size_t kRecordBytes = 8;
}  // namespace

bool CBoardLife::IsLife(uint32_t id, std::string_view record) {
    return id >= kFirstNumber && record.size() == kRecordBytes && WordAt(record, 0) == kType;
}

std::string CBoardLife::MakeRecord(uint32_t clearings) {
    std::string record;
    AddWord(record, kType);
    AddWord(record, clearings);
    return record;
}

void CBoardLife::Add(uint32_t id, std::string_view record) {
    if (m_here.size() >= kMostLives) return;
    m_here[id] = WordAt(record, kClearingsAt);
    m_last.clear();
}

void CBoardLife::Remove(uint32_t id) {
    const auto found = m_here.find(id);
    if (found == m_here.end()) return;
    if (m_last.size() < kMostLives) m_last.insert(*found);
    m_here.erase(found);
}

void CBoardLife::Keep(const std::set<uint32_t>& ids) {
    for (const auto& [id, clearings] : Lives(m_here))
        if (ids.count(id) == 0) Remove(id);
}

void CBoardLife::OnCleared() {
    if (m_here.empty()) return;
    m_last = std::move(m_here);
    m_here.clear();
    for (auto& life : m_last) ++life.second;
}

const CBoardLife::Lives& CBoardLife::Begin(uint32_t random) {
    m_here = std::exchange(m_last, {});
    if (m_here.empty()) m_here[kFirstNumber | random] = 0;
    return m_here;
}

const CBoardLife::Lives& CBoardLife::CountClearing() {
    for (auto& life : m_here) ++life.second;
    return m_here;
}

bool CBoardLife::IsKnown() const {
    return std::any_of(m_here.begin(), m_here.end(), [this](const auto& life) { return m_known.count(life.first); });
}

bool CBoardLife::IsKnown(const std::vector<uint32_t>& listed) const {
    return std::any_of(listed.begin(), listed.end(), [this](uint32_t id) { return m_known.count(id); });
}

void CBoardLife::Leave(bool settled) {
    const Lives& last = m_here.empty() ? m_last : m_here;
    if (settled && !last.empty()) m_known.clear();
    if (settled)
        for (const auto& life : last) m_known.insert(life.first);
    m_here.clear();
    m_last.clear();
}

void CBoardLife::Forget() {
    m_here.clear();
    m_last.clear();
    m_known.clear();
}

}  // namespace lumo
