// Who got nothing, and why.
#pragma once

#include "server/status.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

/// What an operator can tell apart and act on.
enum class Refusal : uint8_t {
    NotAllowed,
    Channels,
    Subscribers,
    ChannelsOfAddress,
    SubscribersOfAddress,
    ConnectionsOfAddress,
    Signalling,
    SignallingOfAddress,
    RelayTarget,
    RelaysPending,
    RelaySilent,
    Count
};

/// As the metrics have it.
const char* RefusalName(Refusal why);
/// In words, as they stand behind an address.
const char* RefusalText(Refusal why);

/// Counts of each reason, and who was the last. Any thread, without a lock: strangers decide how often.
class CRefusals {
public:
    /// True when it is news: the same address has not been refused for the same reason within the last minute.
    bool Count(Refusal why, uint32_t ip);
    /// All reasons, in their order.
    std::vector<CRefusalStatus> Status() const;

private:
    struct Tally {
        std::atomic<uint64_t> count{0};
        std::atomic<uint32_t> lastIP{0};
        std::atomic<uint32_t> lastAt{0};
    };

    bool IsNews(Refusal why, uint32_t ip, uint32_t now);

    static constexpr size_t kSlots = 1024;

    std::array<Tally, static_cast<size_t>(Refusal::Count)> m_tallies;
    std::array<std::atomic<uint64_t>, kSlots> m_told{};  // address, reason and minute; those that collide are told anew
};
