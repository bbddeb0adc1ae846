// A world of hosts under one virtual clock, joined by a network that does what its faults say and nothing else.
#pragma once

#include "sim/faults.h"
#include "support/virtual_clock.h"

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
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
        uint64_t lost = 0;       // not one whole copy arrives
        uint64_t delivered = 0;  // copies, cut ones included
    };

    explicit CWorld(uint64_t seed, uint32_t start = 1000000);
    /// A failed test's trace names the seed and the faults.
    ~CWorld();

    void Attach(Address address, Handler handler);
    /// What still arrives there is announced as lost.
    void Detach(Address address);
    void AddTurn(Turn turn) { m_turns.push_back(std::move(turn)); }
    template <class Fault, class... Arguments>
    void AddFault(Address from, Address to, Arguments... arguments) {
        m_links[{from, to}].faults.push_back(std::make_unique<Fault>(arguments...));
    }

    /// From now on everything passes at once.
    void Heal(Address from, Address to) { m_links[{from, to}].faults.clear(); }

    void Send(Address from, Address to, const char* data, int length);

    /// Lets time pass, a millisecond at a time with everybody's turns until nothing moves any more, until `done`; false
    /// when `bound`, asked again each time, has passed before.
    bool RunUntil(const std::function<bool()>& done, const std::function<uint64_t()>& bound);
    void RunFor(uint64_t milliseconds);

    uint64_t Elapsed() const { return m_elapsed; }
    const Counts& Link(Address from, Address to) { return m_links[{from, to}].counts; }
    uint64_t Lost() const;
    /// The longest a datagram can be on its way from one to the other.
    uint32_t MaxDelay(Address from, Address to);
    bool IsNetworkEmpty() const { return m_arrivals.empty(); }
    std::string Describe() const;

    CRandom random;

private:
    struct Wire {
        std::vector<std::unique_ptr<IFault>> faults;
        Counts counts;
    };
    struct Arrival {
        Address from, to;
        std::string bytes;
    };

    void Settle();
    bool DeliverDue();

    const uint64_t m_seed;
    CVirtualClock m_clock;
    uint64_t m_elapsed = 0;
    std::map<std::pair<Address, Address>, Wire> m_links;
    std::map<Address, Handler> m_hosts;  // no handler: detached
    std::vector<Turn> m_turns;
    std::multimap<uint64_t, Arrival> m_arrivals;  // equal times keep the order of sending
};

}  // namespace sim
