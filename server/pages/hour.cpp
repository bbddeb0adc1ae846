#include "server/pages/hour.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace {

// Totals are summed while links come and go, so they may step back for a moment.
template <class Number>
Number GrownBy(Number now, Number before) {
    return now > before ? now - before : Number{};
}

uint64_t Permille(double seconds, double passed) { return static_cast<uint64_t>(seconds * 1000 / passed); }

}  // namespace

uint64_t CHourSample::Refused() const { return std::accumulate(refused.begin(), refused.end(), uint64_t{0}); }

CHour::Totals CHour::Sum(const CServerNumbers& numbers) {
    Totals totals;
    CHourSample& counts = totals.counts;
    for (const CMediumStatus& medium : numbers.media) {
        counts.streams += medium.channels;
        counts.listeners += medium.sinksUdp + medium.sinksTcp;
        counts.bytesIn += medium.traffic.bytesIn + medium.traffic.bytesUp;
        counts.bytesOut += medium.traffic.bytesOut;
        counts.packets += medium.links.packets;
        counts.again += medium.links.retransmitted;
        counts.dropped += medium.links.dropped + medium.traffic.dropped;
    }
    for (const CBudgetStatus& budget : numbers.budgets) counts.gaveWay += budget.gaveWay;
    for (size_t i = 0; i < std::min(counts.refused.size(), numbers.refusals.size()); ++i)
        counts.refused[i] = numbers.refusals[i].count;
    return totals;
}

CHourSample CHour::Grown(const Totals& before, const Totals& now) {
    const double passed = static_cast<double>(std::max<uint64_t>(now.at - before.at, 1)) / 1000;
    const auto aSecond = [&](uint64_t CHourSample::*field) {
        return static_cast<uint64_t>(static_cast<double>(GrownBy(now.counts.*field, before.counts.*field)) / passed);
    };
    CHourSample sample = now.counts;
    sample.bytesIn = aSecond(&CHourSample::bytesIn);
    sample.bytesOut = aSecond(&CHourSample::bytesOut);
    for (uint64_t CHourSample::*field :
         {&CHourSample::packets, &CHourSample::again, &CHourSample::dropped, &CHourSample::gaveWay})
        sample.*field = GrownBy(now.counts.*field, before.counts.*field);
    for (size_t i = 0; i < sample.refused.size(); ++i)
        sample.refused[i] = GrownBy(now.counts.refused[i], before.counts.refused[i]);
    sample.cpuPermille = Permille(GrownBy(now.cpuSeconds, before.cpuSeconds), passed);
    for (const auto& [id, seconds] : now.threads) {
        const auto found = before.threads.find(id);
        const double used = GrownBy(seconds, found == before.threads.end() ? 0.0 : found->second);
        sample.threadPermille = std::max(sample.threadPermille, Permille(used, passed));
    }
    return sample;
}

void CHour::Add(uint64_t now, const CServerNumbers& numbers, const CProcessStatus& process, Threads threads) {
    Totals totals = Sum(numbers);
    totals.counts.memoryBytes = process.residentBytes;
    totals.cpuSeconds = process.cpuSeconds;
    totals.threads = std::move(threads);
    totals.at = now;
    if (std::exchange(m_bStarted, true)) {
        m_ring[m_nNext] = Grown(m_last, totals);
        m_nNext = (m_nNext + 1) % kBuckets;
        m_nCount = std::min(m_nCount + 1, kBuckets);
    }
    m_last = std::move(totals);
}

std::vector<CHourSample> CHour::Samples() const {
    std::vector<CHourSample> samples;
    for (size_t i = 0; i < m_nCount; ++i) samples.push_back(m_ring[(m_nNext + kBuckets - m_nCount + i) % kBuckets]);
    return samples;
}
