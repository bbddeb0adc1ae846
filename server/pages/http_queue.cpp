#include "server/pages/http_queue.h"

#include <utility>

CHttpQueue::CHttpQueue(size_t threads, size_t room) : m_nRoom(room) {
    for (size_t i = 0; i < threads; ++i) m_threads.emplace_back([this] { Work(); });
}

void CHttpQueue::enqueue(std::function<void()> job) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_jobs.size() < m_nRoom || m_bEnding; });
    m_jobs.push_back(std::move(job));
    m_changed.notify_all();
}

void CHttpQueue::shutdown() {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bEnding = true;
        m_changed.notify_all();
    }
    for (std::thread& thread : m_threads) thread.join();
}

// Jobs that are left at the end still run: each closes its connection.
void CHttpQueue::Work() {
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_changed.wait(lock, [this] { return !m_jobs.empty() || m_bEnding; });
            if (m_jobs.empty()) return;
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
            m_changed.notify_all();
        }
        job();
    }
}
