#include "link/process/due_links.h"

#include "link/process/instances.h"
#include "link/process/work_signal.h"

#include <algorithm>
#include <utility>

namespace {

constexpr uint64_t kRetryUs = 1000;

}  // namespace

thread_local CDueLinks::Burst CDueLinks::t_burst = Burst::None;

CDueLinks& CDueLinks::Get() {
    if (CDueLinks* simulated = Instances().pDueLinks) return *simulated;
    static auto* links = new CDueLinks;  // a worker of static storage may outlive this file's objects
    return *links;
}

// The worker empties the deadline before it asks, and whoever has something new to do says so before it looks here: one
// of the two sees the other.
void CDueLinks::Enter(IDue& due, uint64_t at) {
    if (at == 0) return;
    std::atomic_thread_fence(std::memory_order_seq_cst);
    const uint64_t entered = due.m_nAt.load(std::memory_order_relaxed);
    if (entered != 0 && entered <= at) return;
    if (Put(due, at)) CWorkSignal::Get().NewDeadline();
}

// True when it is the earliest of all now.
bool CDueLinks::Put(IDue& due, uint64_t at) {
    CAutoLock lock(&m_cs);
    const uint64_t entered = due.m_nAt.load(std::memory_order_relaxed);
    if (entered != 0 && entered <= at) return false;
    if (entered == 0) {
        m_heap.push_back(&due);
        due.m_nPlace = m_heap.size() - 1;
    }
    due.m_nAt.store(at, std::memory_order_relaxed);
    Rise(due.m_nPlace);
    NoteEarliest();
    return m_heap.front() == &due;
}

void CDueLinks::Leave(IDue& due) {
    CAutoLock run(&m_csRun);
    CAutoLock asking(&m_csAsking);
    CAutoLock lock(&m_cs);
    if (due.m_bInBurst.exchange(false)) m_burst.erase(std::find(m_burst.begin(), m_burst.end(), &due));
    if (due.m_nAt.load(std::memory_order_relaxed) != 0) Remove(due);
    NoteEarliest();
}

void CDueLinks::Run(uint64_t now) {
    if (Earliest() == 0 || Earliest() > now) return;
    CAutoLock run(&m_csRun);
    TakeDue(now);
    try {
        for (; !m_due.empty(); m_due.pop_back()) m_due.back()->OnDue(now);
    } catch (...) {
        for (; !m_due.empty(); m_due.pop_back()) Put(*m_due.back(), now + kRetryUs);
        throw;
    }
}

bool CDueLinks::AskAfterBurst(IDue& due) {
    if (t_burst == Burst::None) return false;
    t_burst = Burst::Collected;  // before the check: an end that failed may have left it in

    if (due.m_bInBurst.load(std::memory_order_relaxed)) return true;  // only this thread enters
    CAutoLock lock(&m_cs);
    m_burst.push_back(&due);
    due.m_bInBurst.store(true, std::memory_order_relaxed);
    return true;
}

void CDueLinks::EndBurst(uint64_t now) {
    if (std::exchange(t_burst, Burst::None) == Burst::Collected) AskCollected(now);
}

void CDueLinks::AskNow(uint64_t now) {
    if (t_burst != Burst::Collected) return;
    t_burst = Burst::Empty;
    try {
        AskCollected(now);
    } catch (...) {  // they are asked again soon
    }
}

void CDueLinks::AskCollected(uint64_t now) {
    CAutoLock asking(&m_csAsking);
    while (IDue* due = TakeOfBurst()) {
        try {
            due->OnDue(now);
        } catch (...) {
            for (; due; due = TakeOfBurst()) Enter(*due, now + kRetryUs);
            throw;
        }
    }
}

IDue* CDueLinks::TakeOfBurst() {
    CAutoLock lock(&m_cs);
    if (m_burst.empty()) return nullptr;
    IDue* due = m_burst.back();
    m_burst.pop_back();
    due->m_bInBurst.store(false, std::memory_order_relaxed);
    return due;
}

void CDueLinks::TakeDue(uint64_t now) {
    m_due.clear();
    CAutoLock lock(&m_cs);
    m_due.reserve(m_heap.size());
    while (!m_heap.empty() && m_heap.front()->m_nAt.load(std::memory_order_relaxed) <= now) {
        m_due.push_back(m_heap.front());
        Remove(*m_heap.front());
    }
    std::reverse(m_due.begin(), m_due.end());  // they are asked from the back
    NoteEarliest();
    std::atomic_thread_fence(std::memory_order_seq_cst);
}

void CDueLinks::Remove(IDue& due) {
    due.m_nAt.store(0, std::memory_order_relaxed);
    const size_t place = due.m_nPlace;
    IDue* last = m_heap.back();
    m_heap.pop_back();
    if (last == &due) return;
    Place(place, *last);
    Rise(place);
    Sink(last->m_nPlace);
}

void CDueLinks::Place(size_t place, IDue& due) {
    m_heap[place] = &due;
    due.m_nPlace = place;
}

void CDueLinks::Rise(size_t place) {
    IDue& due = *m_heap[place];
    for (; place > 0 && due.m_nAt < m_heap[(place - 1) / 2]->m_nAt; place = (place - 1) / 2)
        Place(place, *m_heap[(place - 1) / 2]);
    Place(place, due);
}

void CDueLinks::Sink(size_t place) {
    IDue& due = *m_heap[place];
    for (;;) {
        size_t child = 2 * place + 1;
        if (child + 1 < m_heap.size() && m_heap[child + 1]->m_nAt < m_heap[child]->m_nAt) ++child;
        if (child >= m_heap.size() || due.m_nAt <= m_heap[child]->m_nAt) break;
        Place(place, *m_heap[child]);
        place = child;
    }
    Place(place, due);
}

void CDueLinks::NoteEarliest() {
    m_nEarliest.store(m_heap.empty() ? 0 : m_heap.front()->m_nAt.load(std::memory_order_relaxed),
                      std::memory_order_seq_cst);
}
