// A path in virtual time, exact to the microsecond: a rate, a delay, a queue in front, and what goes wrong behind it.
#pragma once

#include "platform/lumobase/clock.h"
#include "sim/random.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

namespace sim {

inline constexpr uint64_t kSecond = 1000000;  // us

/// Events in the order of their time. The library's clock is this one while it lives, and what it draws at random is
/// the same in each run; one at a time.
class CEvents {
public:
    CEvents() {
        Now() = kBegin;
        Drawn() = 1;
        Lumo_Base::SetMicrosecondSource([] { return Now(); });
        Lumo_Base::SetRandomSource([] {
            Drawn() = Drawn() * 6364136223846793005U + 1442695040888963407U;
            return static_cast<uint32_t>(Drawn() >> 33) | 1U;
        });
    }
    ~CEvents() {
        Lumo_Base::SetMicrosecondSource(nullptr);
        Lumo_Base::SetRandomSource(nullptr);
    }
    CEvents(const CEvents&) = delete;
    CEvents& operator=(const CEvents&) = delete;

    static uint64_t& Now() {
        static uint64_t now;
        return now;
    }
    static uint64_t Elapsed() { return Now() - kBegin; }
    void At(uint64_t time, std::function<void()> event) { m_events.insert({std::max(time, Now()), std::move(event)}); }
    void RunFor(uint64_t microseconds) {
        const uint64_t end = Now() + microseconds;
        while (!m_events.empty() && m_events.begin()->first <= end) {
            const auto event = m_events.extract(m_events.begin());
            Now() = event.key();
            event.mapped()();
        }
        Now() = end;
    }

private:
    static uint64_t& Drawn() {
        static uint64_t drawn;
        return drawn;
    }

    static constexpr uint64_t kBegin = 1000000000;
    std::multimap<uint64_t, std::function<void()>> m_events;  // equal times keep their order
};

/// What a path is like.
struct PathTraits {
    double megabits = 100;
    uint32_t delayUs = 25000;      // one way
    uint64_t queueBytes = 625000;  // dropped beyond
    double loss = 0;               // of each datagram
    double burstLoss = 0;          // how often a burst of losses begins
    double burst = 8;              // its length on average
    uint32_t jitterUs = 0;         // keeps the order
    double reordered = 0;          // how often a datagram is held back
    uint32_t reorderUs = 0;        // by so much at most
    double doubled = 0;            // how often a datagram comes twice
    uint32_t doubledAfterUs = 0;   // the second time so much later
    bool dead = false;             // nothing passes
};

/// One direction.
class CPath {
public:
    struct Counts {
        uint64_t sent = 0, queueDrops = 0, lost = 0, bytes = 0;
    };
    CPath(CEvents& events, CRandom& random, PathTraits traits) : traits(traits), m_events(events), m_random(random) {}

    void Send(std::string datagram) {
        constexpr uint64_t kHeaders = 28;  // IP and UDP
        ++counts.sent;
        const uint64_t now = CEvents::Now();
        const uint64_t size = datagram.size() + kHeaders;
        m_freeAt = std::max(m_freeAt, static_cast<double>(now));
        const double bytesPerUs = traits.megabits / 8;
        if ((m_freeAt - static_cast<double>(now)) * bytesPerUs + static_cast<double>(size) >
            static_cast<double>(traits.queueBytes)) {
            ++counts.queueDrops;
            return;
        }
        m_freeAt += static_cast<double>(size) / bytesPerUs;
        if (IsLost()) {
            ++counts.lost;
            return;
        }
        counts.bytes += size;
        uint64_t at = static_cast<uint64_t>(m_freeAt) + traits.delayUs;
        if (traits.jitterUs > 0) at += m_random.Below(traits.jitterUs);
        at = m_last = std::max(at, m_last);
        if (Chance(traits.reordered)) at += m_random.Between(1, traits.reorderUs);
        if (Chance(traits.doubled)) Deliver(at + traits.doubledAfterUs, datagram);
        Deliver(at, std::move(datagram));
    }
    /// How long the queue takes now, in microseconds.
    uint64_t QueueUs() const {
        return static_cast<uint64_t>(std::max(0.0, m_freeAt - static_cast<double>(CEvents::Now())));
    }

    PathTraits traits;
    Counts counts;
    std::function<void(const std::string&)> receiver;

private:
    bool Chance(double share) { return share > 0 && m_random.Below(1000000) < share * 1000000; }
    bool IsLost() {
        if (traits.dead) return true;
        if (m_burst > 0 || Chance(traits.burstLoss)) m_burst = Chance(1 / traits.burst) ? 0 : 1;
        return m_burst > 0 || Chance(traits.loss);
    }
    void Deliver(uint64_t at, std::string datagram) {
        m_events.At(at, [this, datagram = std::move(datagram)] { receiver(datagram); });
    }

    CEvents& m_events;
    CRandom& m_random;
    double m_freeAt = 0;  // when the queue is empty
    uint64_t m_last = 0;
    int m_burst = 0;
};

}  // namespace sim
