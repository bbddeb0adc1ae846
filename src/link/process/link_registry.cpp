#include "link/process/link_registry.h"

#include <algorithm>

CLinkRegistry& LinkRegistry() {
    static auto* registry = new CLinkRegistry;  // never destroyed: links of static storage may outlive it
    return *registry;
}

uint64_t CLinkRegistry::Add(ILinkReport* link) {
    CAutoLock lock(&m_cs);
    m_entries.push_back({m_nLastNumber + 1, link});
    return ++m_nLastNumber;
}

void CLinkRegistry::Remove(uint64_t number) {
    CAutoLock lock(&m_cs);
    const auto found = std::lower_bound(m_entries.begin(), m_entries.end(), number,
                                        [](const Entry& entry, uint64_t wanted) { return entry.number < wanted; });
    if (found == m_entries.end() || found->number != number || !found->link) return;
    found->link = nullptr;
    if (++m_nGaps > m_entries.size() / 2) CloseGaps();
}

void CLinkRegistry::CloseGaps() {
    const auto hasLeft = [](const Entry& entry) { return !entry.link; };
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(), hasLeft), m_entries.end());
    m_nGaps = 0;
}

bool CLinkRegistry::Fill(size_t index, LumoLinkStatistics& statistics) {
    CAutoLock lock(&m_cs);
    if (m_nGaps > 0) CloseGaps();
    if (index >= m_entries.size()) return false;
    m_entries[index].link->FillStatistics(statistics);
    return true;
}

size_t CLinkRegistry::Count() {
    CAutoLock lock(&m_cs);
    return m_entries.size() - m_nGaps;
}
