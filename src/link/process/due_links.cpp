#include "link/process/due_links.h"

#include "link/process/work_signal.h"

#include <algorithm>

CDueLinks& CDueLinks::Get() {
    static auto* links = new CDueLinks;  // a worker of static storage may outlive this file's objects
    return *links;
}

void CDueLinks::Push(Entry entry) {
    m_heap.push_back(entry);
    std::push_heap(m_heap.begin(), m_heap.end());
}

void CDueLinks::NoteEarliest() { m_nEarliest.store(m_heap.empty() ? 0 : m_heap.front().at, std::memory_order_seq_cst); }

void CDueLinks::Enter(IDue& due, uint64_t at) {
    bool earlier = false;
    {
        CAutoLock lock(&m_cs);
        Push({at, &due});
        earlier = m_heap.front().due == &due;
        NoteEarliest();
    }
    if (earlier) CWorkSignal::Get().NewDeadline();
}

void CDueLinks::Leave(IDue& due) {
    CAutoLock lock(&m_cs);
    std::erase_if(m_heap, [&](const Entry& entry) { return entry.due == &due; });
    std::make_heap(m_heap.begin(), m_heap.end());
    NoteEarliest();
}

// The lock is held while somebody is asked, which is what Leave waits for.
void CDueLinks::Run(uint64_t now) {
    if (Earliest() == 0 || Earliest() > now) return;
    CAutoLock lock(&m_cs);
    while (!m_heap.empty() && m_heap.front().at <= now) {
        std::pop_heap(m_heap.begin(), m_heap.end());
        IDue* due = m_heap.back().due;
        m_heap.pop_back();
        if (const uint64_t next = due->OnDue(now)) Push({std::max(next, now + 1), due});
    }
    NoteEarliest();
}
