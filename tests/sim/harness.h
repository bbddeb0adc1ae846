// A world of hosts under one virtual clock, joined by a network that does what its faults say and nothing else.
#pragma once

#include "sim/faults.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <compare>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace sim {

struct Address {
    uint32_t ip = 0;
    uint16_t port = 0;
    auto operator<=>(const Address&) const = default;
};

/// Everything that was sent is delivered, or lost by a fault, or still on its way: anything else is an error.
class CWorld {
public:
    using Handler = std::function<void(const std::string& bytes, Address from)>;
    /// What a host does on its turn; true when it did something and wants another.
    using Turn = std::function<bool()>;
    struct Counts {
        uint64_t sent = 0;
        uint64_t lost = 0;  // not one whole copy arrives
    };

    explicit CWorld(uint64_t seed, uint32_t start = 1000000) : random(seed), m_seed(seed), m_clock(start) {}
    /// A failed test's trace names the seed and the faults.
    ~CWorld() {
        if (testing::Test::HasFailure()) std::printf("the world of the failure: %s\n", Describe().c_str());
    }

    void Attach(Address address, Handler handler) { m_hosts[address] = std::move(handler); }
    void AddTurn(Turn turn) { m_turns.push_back(std::move(turn)); }
    void AddFault(Address from, Address to, Fault fault) { m_links[{from, to}].faults.push_back(std::move(fault)); }
    /// In both directions, each with a state of its own.
    void AddFaults(Address one, Address other, const Fault& fault) {
        AddFault(one, other, fault);
        AddFault(other, one, fault);
    }
    /// From now on everything passes at once.
    void Heal() {
        for (auto& link : m_links) link.second.faults.clear();
    }

    void Send(Address from, Address to, const char* data, int length) {
        Wire& link = m_links[{from, to}];
        Transit transit{++link.counts.sent, m_elapsed, {}};
        transit.copies.push_back({0, std::string(data, static_cast<size_t>(length))});
        for (const Fault& fault : link.faults) fault.apply(transit, random);
        bool whole = false;
        for (Copy& copy : transit.copies) {
            whole = whole || copy.bytes.size() == static_cast<size_t>(length);
            m_arrivals.insert({m_elapsed + copy.delay, {from, to, std::move(copy.bytes)}});
        }
        if (!whole) ++link.counts.lost;
    }

    /// Lets time pass, a millisecond at a time with everybody's turns until nothing moves any more, until `done`; false
    /// when `bound`, asked again each time, has passed before.
    bool RunUntil(const std::function<bool()>& done, const std::function<uint64_t()>& bound) {
        constexpr uint64_t kLongest = 3600000;  // a bound that runs away with the losses ends here
        for (;;) {
            Settle();
            if (done()) return true;
            if (m_elapsed >= std::min(bound(), kLongest)) return false;
            m_clock.Advance(1);
            ++m_elapsed;
        }
    }
    void RunFor(uint64_t milliseconds) {
        const uint64_t end = m_elapsed + milliseconds;
        RunUntil([] { return false; }, [end] { return end; });
    }

    uint64_t Elapsed() const { return m_elapsed; }
    const Counts& Link(Address from, Address to) { return m_links[{from, to}].counts; }
    /// The longest a datagram can be on its way from one to the other.
    uint32_t MaxDelay(Address from, Address to) {
        uint32_t delay = 0;
        for (const Fault& fault : m_links[{from, to}].faults) delay += fault.maxDelay;
        return delay;
    }
    bool IsNetworkEmpty() const { return m_arrivals.empty(); }
    std::string Describe() const {
        std::string text = "seed " + std::to_string(m_seed) + ", " + std::to_string(m_elapsed) + " ms";
        for (const auto& [ends, link] : m_links) {
            text += "; " + std::to_string(ends.first.port) + " to " + std::to_string(ends.second.port) + ": ";
            for (const Fault& fault : link.faults) text += fault.name + ", ";
            text += std::to_string(link.counts.sent) + " sent, " + std::to_string(link.counts.lost) + " lost";
        }
        return text;
    }

    CRandom random;

private:
    struct Wire {
        std::vector<Fault> faults;
        Counts counts;
    };
    struct Arrival {
        Address from, to;
        std::string bytes;
    };

    void Settle() {
        constexpr int kRestless = 1000000;
        for (int rounds = 0; rounds < kRestless; ++rounds) {
            bool moved = DeliverDue();
            for (const Turn& turn : m_turns) moved = turn() || moved;
            if (!moved) return;
        }
        ADD_FAILURE() << "the hosts never come to rest at " << m_elapsed << " ms";
    }
    bool DeliverDue() {
        constexpr int kBurst = 64;  // then the hosts have their turns
        bool any = false;
        for (int left = kBurst; left > 0 && !m_arrivals.empty() && m_arrivals.begin()->first <= m_elapsed; --left) {
            const Arrival arrival = std::move(m_arrivals.begin()->second);
            m_arrivals.erase(m_arrivals.begin());
            any = true;
            const auto host = m_hosts.find(arrival.to);
            if (host == m_hosts.end())
                ADD_FAILURE() << "a datagram for nobody: port " << arrival.to.port;
            else
                host->second(arrival.bytes, arrival.from);
        }
        return any;
    }

    const uint64_t m_seed;
    CVirtualClock m_clock;
    uint64_t m_elapsed = 0;
    std::map<std::pair<Address, Address>, Wire> m_links;
    std::map<Address, Handler> m_hosts;
    std::vector<Turn> m_turns;
    std::multimap<uint64_t, Arrival> m_arrivals;  // equal times keep the order of sending
};

}  // namespace sim
