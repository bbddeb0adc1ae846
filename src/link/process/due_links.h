// What links have to do at a certain time, whoever else looks after them.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

/// Who has a deadline: one at a time, the earliest.
class IDue {
public:
    /// The worker's or the receive thread's: the time has come, or the burst is over. Whoever wants to be asked again
    /// enters again.
    virtual void OnDue(uint64_t now) = 0;

protected:
    virtual ~IDue() = default;

private:
    friend class CDueLinks;
    std::atomic<uint64_t> m_nAt{0};       // the deadline while it is in the heap, else 0; changes under the heap's lock
    size_t m_nPlace = 0;                  // in the heap
    std::atomic<bool> m_bInBurst{false};  // changes under the heap's lock
};

/// A heap of deadlines, in microseconds, that the worker's sleep does not pass; and who gets packets in a burst.
class CDueLinks {
public:
    static CDueLinks& Get();

    /// Any thread. Nothing changes where it has an earlier deadline; `at` 0 is none.
    void Enter(IDue& due, uint64_t at);
    /// Waits for the worker and the receive thread. Afterwards it is asked no more.
    void Leave(IDue& due);
    /// The worker's turn: asks each of those whose time has come, once.
    void Run(uint64_t now);

    /// The receive thread's, around a burst of datagrams: the wide links that it brings packets send once, at the end.
    void BeginBurst() { t_burst = Burst::Empty; }
    void EndBurst(uint64_t now);
    /// Those that it has brought packets so far are asked now, since the thread turns to what may take long. Throws
    /// nothing; does nothing in no burst.
    void AskNow(uint64_t now);
    /// False when the calling thread is in no burst, and nothing will be asked.
    bool AskAfterBurst(IDue& due);

    /// The earliest deadline, 0 for none: one atomic load.
    uint64_t Earliest() const { return m_nEarliest.load(std::memory_order_seq_cst); }

private:
    bool Put(IDue& due, uint64_t at);
    IDue* TakeOfBurst();
    void AskCollected(uint64_t now);
    void TakeDue(uint64_t now) LUMO_REQUIRES(m_csRun);
    void Remove(IDue& due) LUMO_REQUIRES(m_cs);
    void Place(size_t place, IDue& due) LUMO_REQUIRES(m_cs);
    void Rise(size_t place) LUMO_REQUIRES(m_cs);
    void Sink(size_t place) LUMO_REQUIRES(m_cs);
    void NoteEarliest() LUMO_REQUIRES(m_cs);

    enum class Burst : uint8_t { None, Empty, Collected };
    static thread_local Burst t_burst;

    CCritSec m_csRun{lock_order::kDueLinks};
    std::vector<IDue*> m_due LUMO_GUARDED_BY(m_csRun);  // being asked
    CCritSec m_csAsking{lock_order::kBurst};            // held while those of a burst are asked
    CCritSec m_cs{lock_order::kDeadlines};
    std::vector<IDue*> m_heap LUMO_GUARDED_BY(m_cs);   // the earliest first
    std::vector<IDue*> m_burst LUMO_GUARDED_BY(m_cs);  // they get packets in this burst
    std::atomic<uint64_t> m_nEarliest{0};
};
