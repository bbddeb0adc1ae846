// A plain lock for what calls nothing while it holds one: all of it stands in this header.
#pragma once

#include "platform/lumobase/annotations.h"

#include <mutex>

class LUMO_CAPABILITY("mutex") CLeafLock {
public:
    void Lock() LUMO_ACQUIRE() { m_mutex.lock(); }
    void Unlock() LUMO_RELEASE() { m_mutex.unlock(); }

private:
    std::mutex m_mutex;
};

/// Holds a CLeafLock for its own lifetime.
class LUMO_SCOPED_CAPABILITY CLeafHold {
public:
    explicit CLeafHold(CLeafLock& lock) LUMO_ACQUIRE(lock) : m_lock(lock) { m_lock.Lock(); }
    ~CLeafHold() LUMO_RELEASE() { m_lock.Unlock(); }
    CLeafHold(const CLeafHold&) = delete;
    CLeafHold& operator=(const CLeafHold&) = delete;

private:
    CLeafLock& m_lock;
};
