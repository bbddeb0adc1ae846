#include "tools/lumo/board/versions.h"

namespace lumo {

void CVersions::Add(uint32_t id, const Version& version) {
    if (version.origin == 0) return;
    m_changed[version.origin] = id;
    m_origins[id] = version.origin;
}

void CVersions::Remove(uint32_t id, const Version& version) {
    if (version.origin == 0) return;
    const auto found = m_changed.find(version.origin);
    if (found != m_changed.end() && found->second == id) m_changed.erase(found);
    m_gone.push_back(id);
    if (m_gone.size() <= kMostGone) return;
    const uint32_t oldest = m_gone.front();
    m_gone.pop_front();
    if (ChangedOf(OriginOf(oldest)) != oldest) m_origins.erase(oldest);  // unless it has come back
}

uint32_t CVersions::OriginOf(uint32_t id) const {
    const auto found = m_origins.find(id);
    return found == m_origins.end() ? id : found->second;
}

uint32_t CVersions::ChangedOf(uint32_t origin) const {
    const auto found = m_changed.find(origin);
    return found == m_changed.end() ? 0 : found->second;
}

}  // namespace lumo
