#include "tools/lumo/board/page_feed.h"

#include <algorithm>
#include <utility>

namespace lumo {

void CPageFeed::Push(const EventText& event) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_bClosed) return;
    m_bClosed = event->size() > kMaxBytes - m_nBytes;
    if (!m_bClosed) {
        m_events.push_back(event);
        m_nBytes += event->size();
    }
    m_changed.notify_one();
}

void CPageFeed::PushNewest(uint32_t key, const EventText& event) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_newest.Takes(key)) m_newest.Put(key, event);
    m_changed.notify_one();
}

void CPageFeed::Close() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_bClosed = true;
    m_changed.notify_one();
}

bool CPageFeed::Wait(std::chrono::milliseconds time, EventText& event) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, time, [this] { return m_bClosed || !m_events.empty() || !m_newest.IsEmpty(); });
    event.reset();
    if (m_bClosed) return false;
    if (m_events.empty()) {
        m_newest.Take(event);
        return true;
    }
    event = std::move(m_events.front());
    m_events.pop_front();
    m_nBytes -= event->size();
    return true;
}

bool CPageFeed::Closed() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_bClosed;
}

PageFeedPtr CPageFeeds::Open() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_bClosed || m_feeds.size() >= kMaxPages) return nullptr;
    m_feeds.push_back(std::make_shared<CPageFeed>());
    return m_feeds.back();
}

void CPageFeeds::Leave(const PageFeedPtr& feed) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_feeds.erase(std::remove(m_feeds.begin(), m_feeds.end(), feed), m_feeds.end());
}

void CPageFeeds::Publish(std::string event) {
    const auto text = std::make_shared<const std::string>(std::move(event));
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const PageFeedPtr& feed : m_feeds) feed->Push(text);
}

void CPageFeeds::PublishNewest(uint32_t key, std::string event) {
    const auto text = std::make_shared<const std::string>(std::move(event));
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const PageFeedPtr& feed : m_feeds) feed->PushNewest(key, text);
}

void CPageFeeds::Close() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_bClosed = true;
    for (const PageFeedPtr& feed : m_feeds) feed->Close();
}

}  // namespace lumo
