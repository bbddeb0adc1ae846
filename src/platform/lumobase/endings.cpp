#include "platform/lumobase/endings.h"

#include <algorithm>

void CEndings::Begin(uint64_t channel) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_endings.emplace_back(channel, std::this_thread::get_id());
}

void CEndings::End(uint64_t channel) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto own = std::find(m_endings.begin(), m_endings.end(), Ending(channel, std::this_thread::get_id()));
    if (own == m_endings.end()) return;
    m_endings.erase(own);
    m_ended.notify_all();
}

void CEndings::WaitForOthers(uint64_t channel) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_ended.wait(lock, [&] {
        return std::none_of(m_endings.begin(), m_endings.end(), [&](const Ending& ending) {
            return ending.first == channel && ending.second != std::this_thread::get_id();
        });
    });
}
