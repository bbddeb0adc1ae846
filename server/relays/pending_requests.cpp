#include "server/relays/pending_requests.h"

#include "link/activity.h"
#include "platform/lumobase/undo.h"

void CPendingRequests::Add(const CSinkRequest& request, const CMcuAddress& home, uint32_t now) {
    Forget(request, home);
    if (const uint32_t gives = m_order.WhoGivesWayTo(request.address.ip)) Erase(gives);
    do ++m_ulLast;
    while (m_ulLast == 0 || m_pending.count(m_ulLast) != 0);
    const uint32_t number = m_ulLast;
    CUndo undo([&] {
        m_byKey.erase(KeyOf(request, home));
        m_pending.erase(number);
    });
    m_pending.insert({number, {request, home, now}});
    m_byKey[KeyOf(request, home)] = number;
    m_order.Add(number, request.address.ip, request.channelID);
    undo.Keep();
}

void CPendingRequests::Forget(const CSinkRequest& request, const CMcuAddress& home) {
    const auto found = m_byKey.find(KeyOf(request, home));
    if (found != m_byKey.end()) Erase(found->second);
}

void CPendingRequests::Erase(uint32_t number) {
    const auto pending = m_pending.find(number);
    m_byKey.erase(KeyOf(pending->second.request, pending->second.home));
    m_pending.erase(pending);
    m_order.Remove(number);
}

std::vector<CPendingRequests::Pending> CPendingRequests::Take(uint32_t channelID, const CMcuAddress& home) {
    std::vector<Pending> taken;
    const CMcuAddress key = HomeKey(home);
    auto it = m_byKey.lower_bound({channelID, key, 0, 0});
    while (it != m_byKey.end() && std::get<0>(it->first) == channelID && std::get<1>(it->first) == key) {
        const uint32_t number = (it++)->second;
        taken.push_back(m_pending.at(number));
        Erase(number);
    }
    return taken;
}

void CPendingRequests::ForgetOld(uint32_t now) {
    while (const uint32_t oldest = m_order.Oldest()) {
        if (ElapsedMs(now, m_pending.at(oldest).since) <= server::kRequestPendingMs) return;
        Erase(oldest);
    }
}

std::vector<CPendingRequests::Pending> CPendingRequests::Naming() const {
    std::vector<Pending> naming;
    for (const auto& entry : m_pending)
        if (!entry.second.home.IsEmpty()) naming.push_back(entry.second);
    return naming;
}
