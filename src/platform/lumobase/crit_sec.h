// The re-entrant lock of the whole library, and its scoped holder.
#pragma once

#include "platform/lumobase/annotations.h"

#include <mutex>

/// A lock that the same thread may take again while holding it. A rank above 0 takes part in the lock-order check of
/// debug builds: a thread may only take ranks at or above the highest it holds, so outer locks have low ranks.
class LUMO_CAPABILITY("mutex") CCritSec {
public:
    explicit CCritSec(int rank = 0);
    virtual ~CCritSec();
    CCritSec(const CCritSec&) = delete;
    CCritSec& operator=(const CCritSec&) = delete;

    void Lock() LUMO_ACQUIRE();
    bool TryLock() LUMO_TRY_ACQUIRE(true);
    void Unlock() LUMO_RELEASE();

private:
    std::recursive_mutex m_mutex;
    const int m_nRank;
};

/// Holds a CCritSec for its own lifetime.
class LUMO_SCOPED_CAPABILITY CAutoLock {
public:
    explicit CAutoLock(CCritSec* lock) LUMO_ACQUIRE(lock) : m_pLock(lock) { m_pLock->Lock(); }
    ~CAutoLock() LUMO_RELEASE() { m_pLock->Unlock(); }
    CAutoLock(const CAutoLock&) = delete;
    CAutoLock& operator=(const CAutoLock&) = delete;

private:
    CCritSec* m_pLock;
};
