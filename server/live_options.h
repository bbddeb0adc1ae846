// The options as they are at the moment: an operator may change some while the server runs.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"
#include "server/server_options.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>
#include <vector>

/// Every set of options that there ever was stays until the end, so that a reader needs no lock. Any thread.
class CLiveOptions {
public:
    static constexpr size_t kMost = 10000;  // different sets

    explicit CLiveOptions(CServerOptions first) { Take(std::move(first)); }

    const CServerOptions& Now() const { return *m_pNow.load(std::memory_order_acquire); }
    const CServerLimits& Limits() const { return Now().limits; }
    /// False when there is no room for another set.
    bool Take(CServerOptions next) {
        CAutoLock lock(&m_cs);
        const auto same = [&](const auto& one) { return *one == next; };
        auto found = std::find_if(m_all.begin(), m_all.end(), same);
        if (found == m_all.end() && m_all.size() == kMost) return false;
        if (found == m_all.end())
            found = m_all.insert(m_all.end(), std::make_unique<const CServerOptions>(std::move(next)));
        m_pNow.store(found->get(), std::memory_order_release);
        return true;
    }

private:
    std::atomic<const CServerOptions*> m_pNow{nullptr};
    CCritSec m_cs{lock_order::kLeaf};
    std::vector<std::unique_ptr<const CServerOptions>> m_all LUMO_GUARDED_BY(m_cs);
};
