// The threads that answer HTTP requests.
#pragma once

#include <httplib.h>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

/// Few threads and a short queue: when it is full the listener waits, and further connections stay with the kernel
/// instead of costing descriptors that the media need.
class CHttpQueue : public httplib::TaskQueue {
public:
    CHttpQueue(size_t threads, size_t room);

    void enqueue(std::function<void()> job) override;
    void shutdown() override;

private:
    void Work();

    const size_t m_nRoom;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::function<void()>> m_jobs;
    bool m_bEnding = false;
    std::vector<std::thread> m_threads;
};
