#include "tools/lumo/board/board_session.h"

namespace lumo {

namespace {
constexpr size_t kMessageCost = 64;  // bytes that even an empty one occupies
}

void CBoardSession::SendWBSessionData(const char* data, int len) {
    if (!data || len <= 0) return;
    bool first = false;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const size_t cost = static_cast<size_t>(len) + kMessageCost;
        m_bOverflow = m_bOverflow || cost > kMaxBytes - m_nBytes;
        first = m_messages.empty();
        if (!m_bOverflow) {
            m_messages.emplace_back(data, static_cast<size_t>(len));
            m_nBytes += cost;
        }
    }
    if (first) m_wake.Wake();
}

void CBoardSession::Say(const std::string& message) {
    OnWBSessionData(message.data(), static_cast<int>(message.size()));
}

bool CBoardSession::Pop(std::string& message) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_messages.empty()) return false;
    message = std::move(m_messages.front());
    m_messages.pop_front();
    m_nBytes -= message.size() + kMessageCost;
    return true;
}

bool CBoardSession::TakeOverflow() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_bOverflow) return false;
    m_bOverflow = false;
    m_messages.clear();
    m_nBytes = 0;
    return true;
}

}  // namespace lumo
