#include "platform/lumobase/endings.h"

#include <algorithm>

void CEndings::Begin(uint32_t channelID) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_endings.emplace_back(channelID, std::this_thread::get_id());
}

void CEndings::End(uint32_t channelID) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto own = std::find(m_endings.begin(), m_endings.end(), Ending(channelID, std::this_thread::get_id()));
    if (own == m_endings.end()) return;
    m_endings.erase(own);
    m_ended.notify_all();
}

void CEndings::WaitForOthers(uint32_t channelID) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_ended.wait(lock, [&] {
        return std::none_of(m_endings.begin(), m_endings.end(), [&](const Ending& ending) {
            return ending.first == channelID && ending.second != std::this_thread::get_id();
        });
    });
}
