#include "server/kept_requests.h"

#include "link/activity.h"
#include "platform/lumobase/undo.h"

void CKeptRequests::Keep(const CSinkRequest& request, const CMcuAddress& home, uint32_t now) {
    Forget(request, home);
    if (const uint32_t gives = m_order.WhoGivesWayTo(request.peer.ip)) Erase(gives);
    do ++m_ulLast;
    while (m_ulLast == 0 || m_kept.count(m_ulLast) != 0);
    const uint32_t number = m_ulLast;
    CUndo undo([&] {
        m_byKey.erase(KeyOf(request, home));
        m_kept.erase(number);
    });
    m_kept.insert({number, {request, home, now}});
    m_byKey[KeyOf(request, home)] = number;
    m_order.Add(number, request.peer.ip, request.channelID);
    undo.Keep();
}

void CKeptRequests::Forget(const CSinkRequest& request, const CMcuAddress& home) {
    const auto found = m_byKey.find(KeyOf(request, home));
    if (found != m_byKey.end()) Erase(found->second);
}

void CKeptRequests::Erase(uint32_t number) {
    const auto kept = m_kept.find(number);
    m_byKey.erase(KeyOf(kept->second.request, kept->second.home));
    m_kept.erase(kept);
    m_order.Remove(number);
}

std::vector<CKeptRequests::Kept> CKeptRequests::Take(uint32_t channelID, const CMcuAddress& home) {
    std::vector<Kept> taken;
    const CMcuAddress key = HomeKey(home);
    auto it = m_byKey.lower_bound({channelID, key, 0, 0});
    while (it != m_byKey.end() && std::get<0>(it->first) == channelID && std::get<1>(it->first) == key) {
        const uint32_t number = (it++)->second;
        taken.push_back(m_kept.at(number));
        Erase(number);
    }
    return taken;
}

void CKeptRequests::ForgetOld(uint32_t now) {
    while (const uint32_t oldest = m_order.Oldest()) {
        if (ElapsedMs(now, m_kept.at(oldest).since) <= server::kRequestKeptMs) return;
        Erase(oldest);
    }
}

std::vector<CKeptRequests::Kept> CKeptRequests::Naming() const {
    std::vector<Kept> naming;
    for (const auto& entry : m_kept)
        if (!entry.second.home.IsEmpty()) naming.push_back(entry.second);
    return naming;
}
