#include "tools/lumo/net/inbox.h"

#include <sys/eventfd.h>

#include <cstdint>

namespace lumo {

namespace {
constexpr size_t kFrameCost = 64;  // bytes that even an empty frame occupies
}

CWake::CWake() : m_event(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {}

void CWake::Wake() {
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t put = write(m_event.Get(), &one, sizeof one);
}

void CWake::Rest() {
    uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = read(m_event.Get(), &count, sizeof count);
}

CInbox::CInbox(CWake& wake, int maxFrame, size_t maxBytes)
    : m_nMaxFrame(maxFrame), m_nMaxBytes(maxBytes), m_wake(wake) {}

void CInbox::Push(const void* data, int length) {
    if (!data || length <= 0 || length > m_nMaxFrame) return;
    const size_t cost = static_cast<size_t>(length) + kFrameCost;
    bool first = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_nBytes + cost > m_nMaxBytes) return;
        first = m_frames.empty();
        m_frames.emplace_back(static_cast<const char*>(data), static_cast<size_t>(length));
        m_nBytes += cost;
    }
    if (first) m_wake.Wake();
}

void CInbox::Accept() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_bAccepted = true;
    }
    m_wake.Wake();
}

bool CInbox::Pop(std::string& frame) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_frames.empty()) return false;
    frame.swap(m_frames.front());
    m_frames.pop_front();
    m_nBytes -= frame.size() + kFrameCost;
    return true;
}

bool CInbox::TakeAccepted() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const bool accepted = m_bAccepted;
    m_bAccepted = false;
    return accepted;
}

}  // namespace lumo
