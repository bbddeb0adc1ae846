// What can happen to a datagram on its way, each made by a function. Faults of one direction apply in turn.
#pragma once

#include "sim/random.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace sim {

/// One arrival of a datagram.
struct Copy {
    uint32_t delay = 0;  // ms
    std::string bytes;
};

/// One datagram on its way: no copies left means lost.
struct Transit {
    uint64_t number;  // of its direction, from 1
    uint64_t time;    // ms since the world began
    std::vector<Copy> copies;
};

/// A copy of it keeps a state of its own.
struct Fault {
    std::string name;
    std::function<void(Transit& transit, CRandom& random)> apply;
    uint32_t maxDelay = 0;  ///< the longest it holds a datagram back, ms
};

/// Loses each datagram with the same probability.
inline Fault Loss(uint32_t permille) {
    return {"loss " + std::to_string(permille) + "/1000", [=](Transit& transit, CRandom& random) {
                if (random.Chance(permille)) transit.copies.clear();
            }};
}

inline constexpr uint32_t kLost = UINT32_MAX;

/// Holds the datagrams of these numbers back, each for its own time, so that others overtake them; or loses them.
inline Fault Nth(std::map<uint64_t, uint32_t> delays) {
    uint32_t most = 0;
    for (const auto& entry : delays) most = std::max(most, entry.second == kLost ? 0 : entry.second);
    const auto apply = [delays = std::move(delays)](Transit& transit, CRandom&) {
        const auto found = delays.find(transit.number);
        if (found == delays.end()) return;
        for (Copy& copy : transit.copies) copy.delay += found->second;
        if (found->second == kLost) transit.copies.clear();
    };
    return {"some by number", apply, most};
}

/// Loses everything between two moments: a cable pulled.
inline Fault Outage(uint64_t from, uint64_t to) {
    return {"outage " + std::to_string(from) + " to " + std::to_string(to) + " ms", [=](Transit& transit, CRandom&) {
                if (transit.time >= from && transit.time < to) transit.copies.clear();
            }};
}

/// Carries so many bytes a millisecond, heads of IP and UDP included; what would wait longer than `most` ms is lost.
inline Fault Bottleneck(double bytesPerMs, uint32_t most) {
    const auto apply = [=, free = 0.0](Transit& transit, CRandom&) mutable {  // when what waits has left
        if (transit.copies.empty()) return;
        free = std::max(free, static_cast<double>(transit.time));
        if (free - static_cast<double>(transit.time) > most) return transit.copies.clear();
        free += static_cast<double>(transit.copies.front().bytes.size() + 28) / bytesPerMs;
        for (Copy& copy : transit.copies)
            copy.delay += static_cast<uint32_t>(free) - static_cast<uint32_t>(transit.time);
    };
    return {"bottleneck of " + std::to_string(bytesPerMs) + " bytes/ms", apply, most};
}

/// Holds each copy back for a random time; a spread reorders.
inline Fault Delay(uint32_t least, uint32_t most) {
    const auto apply = [=](Transit& transit, CRandom& random) {
        for (Copy& copy : transit.copies) copy.delay += random.Between(least, most);
    };
    return {"delay " + std::to_string(least) + " to " + std::to_string(most) + " ms", apply, most};
}

/// Doubles some datagrams; stands before a delay where the copies shall part.
inline Fault Duplication(uint32_t permille) {
    return {"duplication " + std::to_string(permille) + "/1000", [=](Transit& transit, CRandom& random) {
                if (!transit.copies.empty() && random.Chance(permille))
                    transit.copies.push_back(Copy(transit.copies.front()));
            }};
}

/// Cuts some datagrams to a random length of at most `longest`.
inline Fault Cut(uint32_t permille, uint32_t longest) {
    return {"cut " + std::to_string(permille) + "/1000", [=](Transit& transit, CRandom& random) {
                for (Copy& copy : transit.copies)
                    if (random.Chance(permille))
                        copy.bytes.resize(std::min<size_t>(copy.bytes.size(), random.Between(0, longest)));
            }};
}

/// Turns some of the first bytes of some datagrams into others.
inline Fault Garble(uint32_t permille) {
    return {"garble " + std::to_string(permille) + "/1000", [=](Transit& transit, CRandom& random) {
                for (Copy& copy : transit.copies) {
                    if (copy.bytes.empty() || !random.Chance(permille)) continue;
                    const auto reach = static_cast<uint32_t>(std::min<size_t>(copy.bytes.size(), 32));
                    for (uint32_t left = random.Between(1, 4); left > 0; --left)
                        copy.bytes[random.Below(reach)] = static_cast<char>(random.Below(256));
                }
            }};
}

}  // namespace sim
