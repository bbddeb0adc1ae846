// What can happen to a datagram on its way, each as a small object of its own. Faults of one direction apply in turn.
#pragma once

#include "sim/random.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
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

class IFault {
public:
    virtual ~IFault() = default;
    virtual void Apply(Transit& transit, CRandom& random) = 0;
    virtual std::string Name() const = 0;
    /// The longest it holds a datagram back, ms.
    virtual uint32_t MaxDelay() const { return 0; }
};

/// Loses each datagram with the same probability.
class CRandomLoss : public IFault {
public:
    explicit CRandomLoss(uint32_t permille) : m_permille(permille) {}
    void Apply(Transit& transit, CRandom& random) override {
        if (random.Chance(m_permille)) transit.copies.clear();
    }
    std::string Name() const override { return "loss " + std::to_string(m_permille) + "/1000"; }

private:
    uint32_t m_permille;
};

/// Loses the datagrams of these numbers.
class CNthLoss : public IFault {
public:
    explicit CNthLoss(std::set<uint64_t> numbers) : m_numbers(std::move(numbers)) {}
    void Apply(Transit& transit, CRandom&) override {
        if (m_numbers.count(transit.number) > 0) transit.copies.clear();
    }
    std::string Name() const override { return "nth loss"; }

private:
    std::set<uint64_t> m_numbers;
};

/// Bit i decides about datagram i + 1 and every 64th after it.
class CBitmapLoss : public IFault {
public:
    explicit CBitmapLoss(uint64_t bits) : m_bits(bits) {}
    void Apply(Transit& transit, CRandom&) override {
        if ((m_bits >> ((transit.number - 1) % 64)) & 1) transit.copies.clear();
    }
    std::string Name() const override { return "bitmap loss " + std::to_string(m_bits); }

private:
    uint64_t m_bits;
};

/// Loses everything between two moments: a cable pulled.
class COutage : public IFault {
public:
    COutage(uint64_t from, uint64_t to) : m_from(from), m_to(to) {}
    void Apply(Transit& transit, CRandom&) override {
        if (transit.time >= m_from && transit.time < m_to) transit.copies.clear();
    }
    std::string Name() const override {
        return "outage " + std::to_string(m_from) + " to " + std::to_string(m_to) + " ms";
    }

private:
    uint64_t m_from, m_to;
};

/// Carries so many bytes a millisecond, heads of IP and UDP included; what would wait longer than `most` ms is lost.
class CBottleneck : public IFault {
public:
    CBottleneck(double bytesPerMs, uint32_t most) : m_rate(bytesPerMs), m_most(most) {}
    void Apply(Transit& transit, CRandom&) override {
        if (transit.copies.empty()) return;
        m_free = std::max(m_free, static_cast<double>(transit.time));
        const double wait = m_free - static_cast<double>(transit.time);
        if (wait > m_most) return transit.copies.clear();
        m_free += static_cast<double>(transit.copies.front().bytes.size() + 28) / m_rate;
        for (Copy& copy : transit.copies)
            copy.delay += static_cast<uint32_t>(m_free) - static_cast<uint32_t>(transit.time);
    }
    std::string Name() const override { return "bottleneck of " + std::to_string(m_rate) + " bytes/ms"; }
    uint32_t MaxDelay() const override { return m_most; }

private:
    const double m_rate;
    const uint32_t m_most;
    double m_free = 0;  // when what waits has left
};

/// Holds each copy back for a random time; a spread reorders.
class CDelaySpread : public IFault {
public:
    CDelaySpread(uint32_t least, uint32_t most) : m_least(least), m_most(most) {}
    void Apply(Transit& transit, CRandom& random) override {
        for (Copy& copy : transit.copies) copy.delay += random.Between(m_least, m_most);
    }
    std::string Name() const override {
        return "delay " + std::to_string(m_least) + " to " + std::to_string(m_most) + " ms";
    }
    uint32_t MaxDelay() const override { return m_most; }

private:
    uint32_t m_least, m_most;
};

/// Holds the datagrams of these numbers back, each for its own time: others overtake them.
class CNthDelay : public IFault {
public:
    explicit CNthDelay(std::map<uint64_t, uint32_t> delays) : m_delays(std::move(delays)) {}
    void Apply(Transit& transit, CRandom&) override {
        const auto found = m_delays.find(transit.number);
        if (found == m_delays.end()) return;
        for (Copy& copy : transit.copies) copy.delay += found->second;
    }
    std::string Name() const override { return "nth delay"; }
    uint32_t MaxDelay() const override {
        uint32_t most = 0;
        for (const auto& entry : m_delays) most = std::max(most, entry.second);
        return most;
    }

private:
    std::map<uint64_t, uint32_t> m_delays;
};

/// Doubles some datagrams; stands before a delay spread where the copies shall part.
class CDuplication : public IFault {
public:
    explicit CDuplication(uint32_t permille) : m_permille(permille) {}
    void Apply(Transit& transit, CRandom& random) override {
        if (!transit.copies.empty() && random.Chance(m_permille))
            transit.copies.push_back(Copy(transit.copies.front()));
    }
    std::string Name() const override { return "duplication " + std::to_string(m_permille) + "/1000"; }

private:
    uint32_t m_permille;
};

/// Cuts some datagrams to a random length of at most `longest`.
class CCut : public IFault {
public:
    CCut(uint32_t permille, uint32_t longest) : m_permille(permille), m_longest(longest) {}
    void Apply(Transit& transit, CRandom& random) override {
        for (Copy& copy : transit.copies)
            if (random.Chance(m_permille))
                copy.bytes.resize(std::min<size_t>(copy.bytes.size(), random.Between(0, m_longest)));
    }
    std::string Name() const override { return "cut " + std::to_string(m_permille) + "/1000"; }

private:
    uint32_t m_permille, m_longest;
};

/// Turns some bytes of some datagrams into others.
class CGarble : public IFault {
public:
    explicit CGarble(uint32_t permille) : m_permille(permille) {}
    void Apply(Transit& transit, CRandom& random) override {
        for (Copy& copy : transit.copies)
            for (uint32_t left = random.Chance(m_permille) && !copy.bytes.empty() ? random.Between(1, 4) : 0; left > 0;
                 --left)
                copy.bytes[random.Below(static_cast<uint32_t>(std::min<size_t>(copy.bytes.size(), 32)))] =
                    static_cast<char>(random.Below(256));
    }
    std::string Name() const override { return "garble " + std::to_string(m_permille) + "/1000"; }

private:
    uint32_t m_permille;
};

}  // namespace sim
