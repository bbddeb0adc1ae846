#include "platform/lumobase/event.h"

#include <chrono>

bool CEvent::WaitFor(uint32_t milliseconds) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_condition.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return m_bSignalled; });
    const bool signalled = m_bSignalled;
    m_bSignalled = false;
    return signalled;
}
