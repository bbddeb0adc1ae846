// What links have to do at a certain time, whoever else looks after them.
#pragma once

#include "link/lock_order.h"
#include "platform/lumobase/crit_sec.h"

#include <atomic>
#include <cstdint>
#include <vector>

/// Who has deadlines.
class IDue {
public:
    /// The worker's: the time has come. Gives the next deadline, 0 for none.
    virtual uint64_t OnDue(uint64_t now) = 0;

protected:
    ~IDue() = default;
};

/// A heap of deadlines, in microseconds, that the worker's sleep does not pass.
class CDueLinks {
public:
    static CDueLinks& Get();

    /// Any thread. An entry has one deadline at a time: the caller remembers that it is in.
    void Enter(IDue& due, uint64_t at);
    /// Waits for the worker. Afterwards it is asked no more. Nothing happens where it is not in.
    void Leave(IDue& due);
    /// The worker's turn: asks those whose time has come.
    void Run(uint64_t now);
    /// The earliest deadline, 0 for none: one atomic load.
    uint64_t Earliest() const { return m_nEarliest.load(std::memory_order_seq_cst); }

private:
    struct Entry {
        uint64_t at;
        IDue* due;
        bool operator<(const Entry& other) const { return at > other.at; }  // the earliest on top
    };

    void Push(Entry entry) LUMO_REQUIRES(m_cs);
    void NoteEarliest() LUMO_REQUIRES(m_cs);

    CCritSec m_cs{lock_order::kDueLinks};
    std::vector<Entry> m_heap LUMO_GUARDED_BY(m_cs);
    std::atomic<uint64_t> m_nEarliest{0};
};
