#include "platform/lumobase/crit_sec.h"

#ifndef NDEBUG
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#endif

#ifdef NDEBUG

// The lock order is checked in debug builds alone.
namespace {
void CheckOrder(const CCritSec*, int) {}
void NoteTaken(const CCritSec*, int) {}
void NoteGiven(const CCritSec*, int) {}
}  // namespace

#else

namespace {

struct Held {
    const CCritSec* lock;
    int rank;
};

/// The ranked locks that a thread holds, oldest first, one entry for each time taken.
struct HeldLocks {
    std::array<Held, 64> held;
    size_t count = 0;
};
thread_local HeldLocks t_locks;

void CheckOrder(const CCritSec* lock, int rank) {
    if (rank <= 0) return;
    int highest = 0;
    for (size_t i = 0; i < t_locks.count; ++i) {
        if (t_locks.held[i].lock == lock) return;
        if (t_locks.held[i].rank > highest) highest = t_locks.held[i].rank;
    }
    if (rank >= highest) return;
    std::fprintf(stderr, "lock order broken: rank %d taken while rank %d is held\n", rank, highest);
    std::abort();
}

void NoteTaken(const CCritSec* lock, int rank) {
    if (rank > 0 && t_locks.count < t_locks.held.size()) t_locks.held[t_locks.count++] = {lock, rank};
}

void NoteGiven(const CCritSec* lock, int rank) {
    if (rank <= 0) return;
    for (size_t i = t_locks.count; i-- > 0;) {
        if (t_locks.held[i].lock != lock) continue;
        for (--t_locks.count; i < t_locks.count; ++i) t_locks.held[i] = t_locks.held[i + 1];
        return;
    }
}

}  // namespace

#endif

CCritSec::CCritSec(int rank) : m_nRank(rank) {}

CCritSec::~CCritSec() = default;

void CCritSec::Lock() {
    CheckOrder(this, m_nRank);
    m_mutex.lock();
    NoteTaken(this, m_nRank);
}

bool CCritSec::TryLock() {
    // Cannot wait, so it may go against the order.
    if (!m_mutex.try_lock()) return false;
    NoteTaken(this, m_nRank);
    return true;
}

void CCritSec::Unlock() {
    NoteGiven(this, m_nRank);
    m_mutex.unlock();
}
