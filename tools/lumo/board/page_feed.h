// The events on their way to one open page, and all pages.
#pragma once

#include "platform/lumobase/newest.h"

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

    /// Any thread.
    void Push(const EventText& event);
    /// Waits until no other event does, unless a newer one of its key comes.
    void PushNewest(uint32_t key, const EventText& event);
    void Close();
    /// The next event, or none within the time. False once it is closed. The page's thread.
    bool Wait(std::chrono::milliseconds time, EventText& event);
    bool Closed();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<EventText> m_events;
    CNewest<EventText> m_newest;
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
    void Publish(std::string event);
    void PublishNewest(uint32_t key, std::string event);
    /// Ends all of them.
    void Close();

private:
    std::mutex m_mutex;
    std::vector<PageFeedPtr> m_feeds;
    bool m_bClosed = false;
};

}  // namespace lumo
