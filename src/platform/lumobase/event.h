// An event that one thread waits for and any thread signals.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

/// Stays signalled until one wait has taken it.
class CEvent {
public:
    void Signal() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_bSignalled = true;
        }
        m_condition.notify_one();
    }
    /// True when it was signalled, false when `milliseconds` have passed first.
    bool WaitFor(uint32_t milliseconds);

private:
    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_bSignalled = false;
};
