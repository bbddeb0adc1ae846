#include "audio/audio_thinning.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {
constexpr int64_t kMostUs = 500000;  // of a second
constexpr int64_t kEaseUs = kMostUs / 2;
}  // namespace

void CAudioThinning::Fit(int64_t busyUs) {
    size_t all = 0;
    for (const auto& [ip, count] : m_listeners) all += count;
    if (busyUs > kMostUs) {
        const double fits = static_cast<double>(std::min(all, m_nRoom)) * kMostUs / static_cast<double>(busyUs);
        m_nRoom = std::max(kAlwaysServed, static_cast<size_t>(fits));
    } else if (busyUs < kEaseUs && m_nRoom != SIZE_MAX) {
        m_nRoom += m_nRoom / 4;
    }
    if (m_nRoom >= all) m_nRoom = SIZE_MAX;
    Divide(all);
}

void CAudioThinning::Divide(size_t all) {
    m_dAtAddress = static_cast<double>(all);
    if (m_nRoom >= all) return;
    std::vector<size_t> counts;
    for (const auto& [ip, count] : m_listeners) counts.push_back(count);
    std::sort(counts.begin(), counts.end());
    auto room = static_cast<double>(m_nRoom);
    for (size_t i = 0; i < counts.size(); ++i) {
        m_dAtAddress = room / static_cast<double>(counts.size() - i);
        if (static_cast<double>(counts[i]) > m_dAtAddress) return;
        room -= static_cast<double>(counts[i]);
    }
}

uint32_t CAudioThinning::EveryAt(uint32_t ip) const {
    const auto found = m_listeners.find(ip);
    if (found == m_listeners.end()) return 1;
    const double every = std::ceil(static_cast<double>(found->second) / m_dAtAddress);
    return static_cast<uint32_t>(std::max(1.0, every));
}
