#include "server/refusals.h"

#include "link/activity.h"

namespace {

struct Row {
    const char* name;  // in the metrics
    const char* text;
};

constexpr std::array<Row, static_cast<size_t>(Refusal::Count)> kRows{{
    {"not_allowed", "it is not among the allowed addresses (--allow)"},
    {"channels", "the medium has all its channels (--max-channels)"},
    {"subscribers", "the channel or its medium has all its subscribers (--max-channel-sinks, --max-sinks)"},
    {"channels_of_address", "it has its quota of channels and boards"},
    {"subscribers_of_address", "it has its quota of subscribers"},
    {"connections_of_address", "it has its quota of connections"},
    {"signalling", "the signalling service has all its clients (--max-signalling)"},
    {"signalling_of_address", "it has its quota of the signalling service"},
    {"relay_target", "this server may not relay from there (--relay-to)"},
    {"relays_pending", "too many relays are being set up"},
    {"relay_silent", "the server to relay from does not answer"},
}};

const Row& RowOf(Refusal why) { return kRows[static_cast<size_t>(why)]; }

}  // namespace

const char* RefusalName(Refusal why) { return RowOf(why).name; }

const char* RefusalText(Refusal why) { return RowOf(why).text; }

bool CRefusals::Count(Refusal why, uint32_t ip) {
    const uint32_t now = CActivity::Now();
    Tally& tally = m_tallies[static_cast<size_t>(why)];
    tally.lastIP.store(ip, std::memory_order_relaxed);
    tally.lastAt.store(now, std::memory_order_relaxed);
    tally.count.fetch_add(1, std::memory_order_relaxed);
    return IsNews(why, ip, now);
}

bool CRefusals::IsNews(Refusal why, uint32_t ip, uint32_t now) {
    constexpr uint32_t kMinuteMs = 60000;
    const uint64_t told = uint64_t{ip} << 32 | (uint64_t{now / kMinuteMs} & 0xffffff) << 8 | (uint64_t(why) + 1);
    const size_t slot = (ip * 2654435761U + static_cast<uint32_t>(why)) % kSlots;
    return m_told[slot].exchange(told, std::memory_order_relaxed) != told;
}

std::vector<CRefusalStatus> CRefusals::Status() const {
    std::vector<CRefusalStatus> all;
    const uint32_t now = CActivity::Now();
    for (size_t i = 0; i < kRows.size(); ++i) {
        const Tally& tally = m_tallies[i];
        all.push_back({kRows[i].name, kRows[i].text, tally.count.load(std::memory_order_relaxed),
                       tally.lastIP.load(std::memory_order_relaxed),
                       ElapsedMs(now, tally.lastAt.load(std::memory_order_relaxed)) / 1000});
    }
    return all;
}
