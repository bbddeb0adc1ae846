#include "platform/lumonet/release_gate.h"

bool CReleaseGate::Enter() {
    const bool again = IsInside();
    std::unique_lock<std::mutex> lock(m_mutex);
    if (!again) {
        ++m_nWaiting;
        m_left.wait(lock, [this] { return m_nDepth == 0 || IsReleased(); });
        --m_nWaiting;
    }
    if (IsReleased()) return false;
    m_inside.store(std::this_thread::get_id(), std::memory_order_relaxed);
    ++m_nDepth;
    return true;
}

void CReleaseGate::Leave() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (--m_nDepth > 0) return;
    m_inside.store(std::thread::id{}, std::memory_order_relaxed);
    // Under the lock: the waiter may end the gate as soon as it has seen the depth.
    if (m_nWaiting > 0) m_left.notify_all();
}

bool CReleaseGate::Release() {
    bool first = false;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        first = !m_bReleased.exchange(true, std::memory_order_acq_rel);
        if (m_nWaiting > 0) m_left.notify_all();
    }
    Drain();
    return first;
}

void CReleaseGate::Drain() {
    if (IsInside()) return;
    std::unique_lock<std::mutex> lock(m_mutex);
    ++m_nWaiting;
    m_left.wait(lock, [this] { return m_nDepth == 0; });
    --m_nWaiting;
}
