// What a wide session knows of its path: how fast it delivers and how short its round trip can be. How fast to send and
// how much to keep in flight follow from these two, and not from single losses.
#pragma once

#include "core/wide/wide_constants.h"

#include <array>
#include <cstdint>

namespace wide {

/// What the model notes of each transmission. Times in microseconds.
struct Stamp {
    uint64_t sentAt = 0;
    uint64_t firstSentAt = 0;  // when the transmissions began that its rate is measured over
    uint64_t delivered = 0;    // bytes that had been delivered when it left
    uint64_t deliveredAt = 0;  // and when the last of them had been
    bool starved = false;      // the application had nothing more to send
};

/// Rates in bytes a second, amounts in bytes with all headers. Not synchronised; the caller reads the clock.
class CPathModel {
public:
    /// docs/architecture.md draws them.
    enum class State : uint8_t { StartUp, Drain, Cruise, ProbeUp, ProbeDown, ProbeRoundTrip };

    /// Begins anew, with so much in flight.
    void Open(uint64_t now, uint64_t inFlight);

    /// A packet leaves, `inFlight` without it.
    Stamp OnSent(uint64_t now, uint64_t inFlight);
    /// A packet has arrived whose last transmission is known to be the one that did.
    void OnDelivered(uint64_t now, const Stamp& stamp, uint32_t bytes);
    /// A packet has arrived, and nobody knows by which transmission.
    void OnDelivered(uint64_t now, uint32_t bytes);
    void OnLost(uint32_t bytes) { m_round.lost += bytes; }
    /// From a transmission to its acknowledgement, for which the far side says that it waited so long.
    void OnRoundTrip(uint64_t now, uint64_t microseconds, uint64_t waited);
    /// After all of what one acknowledgement has told.
    void Update(uint64_t now, uint64_t inFlight);
    /// There is room in flight, and nothing to send or no room at the far side.
    void OnStarved(uint64_t inFlight);

    /// How fast to send now.
    uint64_t PacingRate() const;
    /// How much may be in flight now.
    uint64_t Window() const;
    /// What leaves at once: a millisecond's worth, or 10 packets.
    uint64_t Burst() const;

    /// 0 while unknown, as the round trips.
    uint64_t Bandwidth() const { return m_nRate; }
    uint64_t SmallestRoundTrip() const { return m_nSmallest; }
    uint64_t SmoothedRoundTrip() const { return m_nSmoothed; }

private:
    struct Sample {
        bool taken = false;
        Stamp stamp;
    };

    /// Packets, in bytes, that left in one stretch of time: what came of them.
    struct Fate {
        uint64_t lost = 0, delivered = 0;
        uint64_t All() const { return lost + delivered; }
    };

    void Measure(uint64_t now);
    void Note(uint64_t rate, bool starved);
    void EndRound(uint64_t inFlight);
    void NoteLosses(uint64_t inFlight);
    bool LosesByChance() const;
    void NoteChanceLoss();
    bool HasQueue() const;
    bool HasCongestion() const;
    /// What chance can lose of 400 packets, and 2 %.
    uint64_t MostByChance() const;
    bool IsWorthJudging() const;
    void Bound(uint64_t inFlight);
    void WidenBound();
    void LookWhetherFull();
    void Step(uint64_t now, uint64_t inFlight);
    void Enter(State state, uint64_t now);
    uint64_t CruiseTime() const;
    bool TooLong(uint64_t probed) const;
    void ProbeRoundTrip(uint64_t now, uint64_t inFlight);
    void NoteOthers();
    uint64_t Product() const;
    /// What the path and the queue that others keep hold at this link's rate.
    uint64_t Held() const;
    uint64_t Drained() const;
    static uint64_t Percent(uint64_t value, uint64_t percent) { return value * percent / 100; }

    static constexpr size_t kRoundsRemembered = 7;

    State m_state = State::StartUp;
    uint64_t m_nEnteredAt = 0;
    unsigned m_nRoundsInState = 0;
    uint64_t m_nInitial = 0;

    uint64_t m_nDelivered = 0;  // bytes
    uint64_t m_nDeliveredAt = 0;
    uint64_t m_nFirstSentAt = 0;
    uint64_t m_nStarvedUntil = 0;  // delivered by then; 0: not starved
    Sample m_sample;               // of this acknowledgement, that of the packet sent last

    std::array<uint64_t, kRoundsRemembered> m_rates{};  // the highest of each round, this one's first
    uint64_t m_nRate = 0;                               // the highest of all
    uint64_t m_nRoundEnd = 0;                           // delivered by then
    bool m_bRoundEnded = false;
    bool m_bRoundCounts = false;  // the application did not hold it back
    Fate m_round;                 // of this round, as what follows
    uint64_t m_nRoundTrips = 0, m_nRoundTripSum = 0;
    uint64_t m_nRoundMostInFlight = 0;

    uint64_t m_nFullRate = 0;
    int m_nFullRounds = 0;  // in which the rate did not grow
    bool m_bFull = false;   // the path's rate has been found

    Fate m_judged;               // since losses were last judged
    uint64_t m_nBound = 0;       // what a full queue has shown to be too much; 0: none
    uint64_t m_nBoundStep = 0;   // by which it grows next
    Fate m_chance;               // of cruising rounds, later ones weigh more
    uint64_t m_nChanceLoss = 0;  // what the path loses without a queue, in ten thousandths

    uint64_t m_nProbedRate = 0;  // before the last probe for more
    unsigned m_nRoundsSinceProbe = 0;
    bool m_bProbeLost = false;  // it has lost more than chance does
    uint32_t m_ulRandom = 1;    // never 0

    uint64_t m_nSmallest = 0;
    uint64_t m_nSmallestAt = 0;
    uint64_t m_nUsedAt = 0;  // anything was in flight
    uint64_t m_nSmoothed = 0;
    uint64_t m_nCycleSmallest = 0;  // since the last probe for more began
    uint64_t m_nOthers = 0;         // round trip with the queue that others keep; 0: they keep none
    uint64_t m_nProbed = 0;         // the smallest since the probe for it began
    uint64_t m_nProbeEnd = 0;       // once little enough is in flight
};

}  // namespace wide
