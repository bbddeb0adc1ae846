// The events on their way to one open page, and all pages.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace lumo {

using EventText = std::shared_ptr<const std::string>;

/// A page that does not take its events is cut off: it comes back by itself and begins anew.
class CPageFeed {
public:
    static constexpr size_t kMaxBytes = 16U * 1024 * 1024;
    static constexpr size_t kManyEvents = 256;  // then pointers are left out

    /// Any thread.
    void Push(const EventText& event, bool droppable);
    void Close();
    /// The next event, or none within the time. False once it is closed. The page's thread.
    bool Wait(std::chrono::milliseconds time, EventText& event);
    bool Closed();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<EventText> m_events;
    size_t m_nBytes = 0;
    bool m_bClosed = false;
};

using PageFeedPtr = std::shared_ptr<CPageFeed>;

/// Any thread.
class CPageFeeds {
public:
    /// The rest of the HTTP threads answer requests.
    static constexpr size_t kMaxPages = 56;

    /// Null when there are too many, or after the end.
    PageFeedPtr Open();
    void Leave(const PageFeedPtr& feed);
    void Publish(std::string event, bool droppable = false);
    /// Ends all of them.
    void Close();

private:
    std::mutex m_mutex;
    std::vector<PageFeedPtr> m_feeds;
    bool m_bClosed = false;
};

}  // namespace lumo
