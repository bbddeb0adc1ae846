// How many subscribers of one channel each address has.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

/// Validated subscribers are counted apart as well. Any thread.
class CSubscribers {
public:
    /// Adds to the subscribers of an address and to the validated ones of them. Subtracting never fails.
    void Change(uint32_t ip, int come, int validated) {
        CAutoLock lock(&m_cs);
        const bool more = come > 0 || validated > 0;
        const auto found = more ? m_counts.try_emplace(ip).first : m_counts.find(ip);
        if (found == m_counts.end()) return;  // there was no memory to count it
        found->second.come += come;
        found->second.validated += validated;
        if (found->second.come == 0 && found->second.validated == 0) m_counts.erase(found);
    }
    size_t Of(uint32_t ip) {
        CAutoLock lock(&m_cs);
        const auto found = m_counts.find(ip);
        return found == m_counts.end() || found->second.come < 0 ? 0 : static_cast<size_t>(found->second.come);
    }
    bool IsEmpty() {
        CAutoLock lock(&m_cs);
        return m_counts.empty();
    }
    /// Whether a validated one is at this address.
    bool HasValidated(uint32_t ip) {
        CAutoLock lock(&m_cs);
        const auto found = m_counts.find(ip);
        return found != m_counts.end() && found->second.validated > 0;
    }
    /// The addresses of validated subscribers.
    std::vector<uint32_t> Validated() {
        CAutoLock lock(&m_cs);
        std::vector<uint32_t> validated;
        for (const auto& [ip, count] : m_counts)
            if (count.validated > 0) validated.push_back(ip);
        return validated;
    }

private:
    struct Count {
        int come = 0;
        int validated = 0;
    };

    CCritSec m_cs{lock_order::kLeaf};
    std::unordered_map<uint32_t, Count> m_counts LUMO_GUARDED_BY(m_cs);
};
