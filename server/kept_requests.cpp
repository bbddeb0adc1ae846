#include "server/kept_requests.h"

#include "link/activity.h"
#include "platform/lumobase/undo.h"

void CKeptRequests::Keep(const CSinkRequest& request, const CMcuAddress& home, uint32_t now) {
    Forget(request, home);
    const auto ofAddress = m_perAddress.find(request.peer.ip);
    if (ofAddress != m_perAddress.end() && ofAddress->second >= m_nPerAddress) return;
    if (m_kept.size() >= server::kMaxUnproved) Forget(m_kept.front().request, m_kept.front().home);
    const auto kept = m_kept.insert(m_kept.end(), {request, home, now});
    CUndo undo([&] {
        m_byKey.erase(KeyOf(request, home));
        m_kept.erase(kept);
    });
    m_byKey[KeyOf(request, home)] = kept;
    ++m_perAddress[request.peer.ip];
    undo.Keep();
}

CKeptRequests::Index::iterator CKeptRequests::Erase(Index::iterator entry) {
    if (entry == m_byKey.end()) return entry;
    const auto ofAddress = m_perAddress.find(entry->second->request.peer.ip);
    if (--ofAddress->second == 0) m_perAddress.erase(ofAddress);
    m_kept.erase(entry->second);
    return m_byKey.erase(entry);
}

std::vector<CKeptRequests::Kept> CKeptRequests::Take(uint32_t channelID, const CMcuAddress& home) {
    std::vector<Kept> taken;
    const CMcuAddress key = HomeKey(home);
    auto it = m_byKey.lower_bound({channelID, key, 0, 0});
    while (it != m_byKey.end() && std::get<0>(it->first) == channelID && std::get<1>(it->first) == key) {
        taken.push_back(*it->second);
        it = Erase(it);
    }
    return taken;
}

void CKeptRequests::ForgetOld(uint32_t now) {
    while (!m_kept.empty() && ElapsedMs(now, m_kept.front().since) > server::kRequestKeptMs)
        Forget(m_kept.front().request, m_kept.front().home);
}

std::vector<CKeptRequests::Kept> CKeptRequests::Naming() const {
    std::vector<Kept> naming;
    for (const Kept& kept : m_kept)
        if (!kept.home.IsEmpty()) naming.push_back(kept);
    return naming;
}
