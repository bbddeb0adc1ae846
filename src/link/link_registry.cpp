#include "link/link_registry.h"

#include "link/frame_link.h"

#include <algorithm>

CLinkRegistry& LinkRegistry() {
    static auto* registry = new CLinkRegistry;  // never destroyed: links of static storage may outlive it
    return *registry;
}

void CLinkRegistry::Add(CFrameLink* link) {
    CAutoLock lock(&m_cs);
    if (std::find(m_links.begin(), m_links.end(), link) == m_links.end()) m_links.push_back(link);
}

void CLinkRegistry::Remove(CFrameLink* link) {
    CAutoLock lock(&m_cs);
    m_links.erase(std::remove(m_links.begin(), m_links.end(), link), m_links.end());
}

bool CLinkRegistry::Fill(size_t index, LumoLinkStatistics& statistics) {
    CAutoLock lock(&m_cs);
    if (index >= m_links.size()) return false;
    m_links[index]->FillStatistics(statistics);
    return true;
}

size_t CLinkRegistry::Count() {
    CAutoLock lock(&m_cs);
    return m_links.size();
}
