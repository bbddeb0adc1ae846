// The session against a plain model of its rules: lists walked from end to end and nothing clever. What the far side
// makes up (numbers far off, windows with holes, acknowledgements of what was never sent) must find both alike.
#include "sim/random.h"
#include "sim/session_probe.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <string>
#include <vector>

using namespace sim;

namespace {

bool AtOrBefore(uint16_t a, uint16_t b) { return static_cast<uint16_t>(b - a) < 32767; }

class CModelSender {
public:
    void Queue(int count) { m_queued += count; }

    std::vector<uint16_t> Pass(uint32_t now) {
        while (!m_window.empty() && m_window.front().acknowledged) m_window.pop_front();
        if (m_window.size() < m_limit && m_queued > 0) {
            --m_queued;
            m_window.push_back({m_next++, false, 0, 100});
        }
        std::vector<uint16_t> sent;
        for (Packet& packet : m_window) {
            if (packet.acknowledged || now - packet.last < packet.timeout) continue;
            packet.last = now;
            packet.timeout = std::min(packet.timeout * 2, 1000U);
            sent.push_back(packet.sequence);
            if (sent.size() == 4) break;
        }
        return sent;
    }
    void Ack(bool flag, uint16_t sequence, uint8_t window) {
        m_limit = std::clamp<size_t>(window, 16, 160);
        for (auto packet = m_window.begin(); packet != m_window.end();) {
            const bool exact = packet->sequence == sequence;
            if (exact && !flag) packet->acknowledged = true;
            packet = flag && AtOrBefore(packet->sequence, sequence) ? m_window.erase(packet) : std::next(packet);
            if (exact) break;
        }
    }
    bool IsIdle() const { return m_queued == 0 && m_window.empty(); }
    std::vector<uint16_t> InFlight() const {
        std::vector<uint16_t> sequences;
        for (const Packet& packet : m_window) sequences.push_back(packet.sequence);
        return sequences;
    }
    uint16_t Next() const { return m_next; }

private:
    struct Packet {
        uint16_t sequence;
        bool acknowledged;
        uint32_t last, timeout;
    };
    std::list<Packet> m_window;
    int m_queued = 0;
    uint16_t m_next = 0;
    size_t m_limit = 160;
};

class CModelReceiver {
public:
    /// The acknowledgement as text, as CProbe writes it; delivered numbers go to `delivered`.
    std::string Hear(uint16_t s, std::vector<uint16_t>& delivered) {
        m_started = m_started || s == 0;
        if (m_started && (s == m_last || static_cast<uint16_t>(s - m_last) > 32767)) return Ack(true, s);
        if (std::find(m_held.begin(), m_held.end(), s) != m_held.end()) return Ack(false, s);
        m_held.insert(std::find_if(m_held.begin(), m_held.end(), [s](uint16_t h) { return AtOrBefore(s, h); }), s);
        if (!m_started) return Ack(false, s);
        while (!m_held.empty() && m_held.front() == static_cast<uint16_t>(m_last + 1)) {
            delivered.push_back(m_last = m_held.front());
            m_held.pop_front();
        }
        return Ack(AtOrBefore(s, m_last), s);
    }
    uint16_t Last() const { return m_last; }
    size_t Held() const { return m_held.size(); }

private:
    static std::string Ack(bool flag, uint16_t s) { return (flag ? " +" : " -") + std::to_string(s); }

    std::list<uint16_t> m_held;
    uint16_t m_last = 65535;
    bool m_started = false;
};

constexpr uint64_t kSeeds = 300;

TEST(SessionModel, SendersAgree) {
    size_t mostInFlight = 0;
    for (uint64_t seed = 0; seed < kSeeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        CRandom random(seed);
        CVirtualClock clock(random.Chance(200) ? 0xFFFFFFFFU - random.Below(3000) : random.Below(5000));
        CProbe probe;
        CModelSender model;
        const int silent = random.Chance(300) ? 300 : 0;  // steps before the first acknowledgement
        for (int step = 0; step < 600; ++step) {
            std::vector<uint16_t> expected;
            if (random.Chance(step < silent ? 500 : 150)) {
                const int count = static_cast<int>(random.Below(12));
                for (int i = 0; i < count; ++i) ASSERT_TRUE(probe.Send("x"));
                model.Queue(count);
            }
            if (random.Chance(300)) clock.Advance(random.Chance(900) ? random.Below(60) : random.Below(1500));
            if (step >= silent && random.Chance(350)) {
                const auto inFlight = model.InFlight();
                uint32_t sequence =
                    inFlight.empty() ? model.Next() : inFlight[random.Below(static_cast<uint32_t>(inFlight.size()))];
                if (random.Chance(150)) sequence += 32760 + random.Below(16);  // around half the numbers off
                if (random.Chance(100)) sequence = random.Below(65536);
                const bool flag = random.Chance(300);
                const auto window = static_cast<uint8_t>(random.Below(32));
                model.Ack(flag, static_cast<uint16_t>(sequence), window);
                expected = model.Pass(clock.Now());
                probe.Hear(AckPacket(flag, static_cast<uint16_t>(sequence), window));
            } else {
                expected = model.Pass(clock.Now());
                EXPECT_EQ(probe.ProcessSend(), !expected.empty());
            }
            ASSERT_EQ(probe.TakeSequences(), expected) << "step " << step;
            ASSERT_EQ(probe.IsSendIdle(), model.IsIdle()) << "step " << step;
            mostInFlight = std::max(mostInFlight, model.InFlight().size());
        }
    }
    EXPECT_GT(mostInFlight, 100U) << "the walk must reach deep windows";
}

TEST(SessionModel, ReceiversAgree) {
    size_t frames = 0, mostHeld = 0;
    for (uint64_t seed = 0; seed < kSeeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        CRandom random(seed);
        CProbe probe;
        CModelReceiver model;
        const uint32_t wild = random.Chance(500) ? 0 : random.Below(40);
        for (int step = 0; step < 600; ++step) {
            uint32_t sequence = model.Last() + 1U + (random.Chance(400) ? 0 : random.Below(20));
            if (random.Chance(100)) sequence -= random.Below(30);
            if (random.Chance(wild)) sequence = model.Last() + 32760U + random.Below(16);
            if (random.Chance(wild)) sequence = random.Below(65536);
            const auto s = static_cast<uint16_t>(sequence);
            std::vector<uint16_t> delivered;
            const std::string ack = model.Hear(s, delivered);
            probe.Hear(DataPacket(s, std::to_string(s)));
            ASSERT_EQ(probe.TakeAcks(), ack) << "step " << step;
            ASSERT_EQ(probe.frames.size(), delivered.size()) << "step " << step;
            for (size_t i = 0; i < delivered.size(); ++i) ASSERT_EQ(probe.frames[i], std::to_string(delivered[i]));
            frames += delivered.size();
            mostHeld = std::max(mostHeld, model.Held());
            probe.frames.clear();
        }
    }
    EXPECT_GT(frames, 10000U);
    EXPECT_GT(mostHeld, 10U);
}

}  // namespace
