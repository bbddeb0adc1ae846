#include "sim/harness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace sim {

CWorld::CWorld(uint64_t seed, uint32_t start) : random(seed), m_seed(seed), m_clock(start) {}

CWorld::~CWorld() {
    if (testing::Test::HasFailure()) std::printf("the world of the failure: %s\n", Describe().c_str());
}

void CWorld::Attach(Address address, Handler handler) { m_hosts[address] = std::move(handler); }

void CWorld::Detach(Address address) { m_hosts[address] = nullptr; }

void CWorld::Send(Address from, Address to, const char* data, int length) {
    Wire& link = m_links[{from, to}];
    Transit transit{++link.counts.sent, m_elapsed, {}};
    transit.copies.push_back({0, std::string(data, static_cast<size_t>(length))});
    for (const auto& fault : link.faults) fault->Apply(transit, random);
    bool whole = false;
    for (Copy& copy : transit.copies) {
        whole = whole || copy.bytes.size() == static_cast<size_t>(length);
        m_arrivals.insert({m_elapsed + copy.delay, {from, to, std::move(copy.bytes)}});
    }
    if (!whole) ++link.counts.lost;
}

bool CWorld::RunUntil(const std::function<bool()>& done, const std::function<uint64_t()>& bound) {
    constexpr uint64_t kLongest = 3600000;  // a bound that runs away with the losses ends here
    for (;;) {
        Settle();
        if (done()) return true;
        if (m_elapsed >= std::min(bound(), kLongest)) return false;
        m_clock.Advance(1);
        ++m_elapsed;
    }
}

void CWorld::RunFor(uint64_t milliseconds) {
    const uint64_t end = m_elapsed + milliseconds;
    RunUntil([] { return false; }, [end] { return end; });
}

void CWorld::Settle() {
    constexpr int kRestless = 1000000;
    for (int rounds = 0; rounds < kRestless; ++rounds) {
        bool moved = DeliverDue();
        for (const Turn& turn : m_turns) moved = turn() || moved;
        if (!moved) return;
    }
    ADD_FAILURE() << "the hosts never come to rest at " << m_elapsed << " ms";
}

bool CWorld::DeliverDue() {
    constexpr int kBurst = 64;  // then the hosts have their turns
    bool any = false;
    for (int left = kBurst; left > 0 && !m_arrivals.empty() && m_arrivals.begin()->first <= m_elapsed; --left) {
        const Arrival arrival = std::move(m_arrivals.begin()->second);
        m_arrivals.erase(m_arrivals.begin());
        any = true;
        Counts& counts = m_links[{arrival.from, arrival.to}].counts;
        const auto host = m_hosts.find(arrival.to);
        if (host == m_hosts.end()) {
            ADD_FAILURE() << "a datagram for nobody: port " << arrival.to.port;
        } else if (host->second) {
            ++counts.delivered;
            host->second(arrival.bytes, arrival.from);
        } else {
            ++counts.lost;
        }
    }
    return any;
}

uint64_t CWorld::Lost() const {
    return std::accumulate(m_links.begin(), m_links.end(), uint64_t{0},
                           [](uint64_t sum, const auto& link) { return sum + link.second.counts.lost; });
}

uint32_t CWorld::MaxDelay(Address from, Address to) {
    uint32_t delay = 0;
    for (const auto& fault : m_links[{from, to}].faults) delay += fault->MaxDelay();
    return delay;
}

std::string CWorld::Describe() const {
    std::string text = "seed " + std::to_string(m_seed) + ", " + std::to_string(m_elapsed) + " ms";
    for (const auto& [ends, link] : m_links) {
        text += "; " + std::to_string(ends.first.port) + " to " + std::to_string(ends.second.port) + ": ";
        for (const auto& fault : link.faults) text += fault->Name() + ", ";
        text += std::to_string(link.counts.sent) + " sent, " + std::to_string(link.counts.lost) + " lost";
    }
    return text;
}

}  // namespace sim
