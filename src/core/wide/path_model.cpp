#include "core/wide/path_model.h"

#include <algorithm>

namespace wide {

namespace {

constexpr uint64_t kPacket = session::kHeaderLen + session::kPayloadLen + kDatagramOverhead;
constexpr uint64_t kInitialPackets = 32;
constexpr uint64_t kLeastPackets = 4;
constexpr uint64_t kLeastBound = session::kMinWindow;  // packets
constexpr uint64_t kBurstPackets = 10;
constexpr uint64_t kUnknownRoundTrip = 1000;

// In percent of the path's rate.
constexpr uint64_t kStartUpRate = 277;
constexpr uint64_t kDrainRate = 50;
constexpr uint64_t kProbeUpRate = 137;
constexpr uint64_t kProbeDownRate = 75;
// In percent of rate times smallest round trip, or the longer one that others leave.
constexpr uint64_t kStartUpWindow = 200;
constexpr uint64_t kCruiseWindow = 120;
constexpr uint64_t kProbeUpWindow = 200;
constexpr uint64_t kProbedEnough = 125;
constexpr uint64_t kDrained = 90;
constexpr uint64_t kRoundTripProbeWindow = 50;

constexpr uint64_t kGrowth = 125;  // percent a round: less, three times, and the path is full
constexpr int kFullRounds = 3;
// In tenths of a round trip, until the next probe for more: soon once one has found more, late once it has only lost.
constexpr uint64_t kSoon = 10;
constexpr uint64_t kCruise = 40;
constexpr uint64_t kCruiseSpread = 21;
constexpr uint64_t kLate = 240;
constexpr uint64_t kFoundMore = 106;  // percent
constexpr unsigned kProbeShows = 3;   // rounds in which what a probe has done comes to light
constexpr unsigned kSteady = 3;       // rounds after which what left before has been judged
constexpr unsigned kBeginning = 4;    // rounds of few packets: what they lose, others may have overfilled

constexpr uint64_t kQueueShows = 125;     // percent of the smallest round trip
constexpr uint64_t kLossWithQueue = 200;  // losses in ten thousandths, beyond those of chance
constexpr uint64_t kMostSpread = 300;     // by which a few hundred packets may miss the mean
constexpr uint64_t kLossWithout = 2000;
constexpr uint64_t kMostChanceLoss = 1500;
constexpr uint64_t kAll = 10000;
constexpr uint64_t kLeastJudged = 400 * kPacket;  // of fewer packets, chance alone may lose too many
constexpr uint64_t kChanceRemembered = 8 * kLeastJudged;
constexpr uint64_t kLeastLostAtStart = 16 * kPacket;
constexpr uint64_t kBoundCut = 85;  // percent of what was in flight
constexpr uint64_t kBoundStep = 8 * kPacket;
constexpr uint64_t kHeadroom = 85;  // percent of the bound while it is not probed: others find room
constexpr uint64_t kSmallestAge = 5 * kUsPerSecond;
constexpr uint64_t kLeastRoundTripProbe = 100000;

// A thread may have read the clock a little before the one that wrote the earlier time down.
uint64_t Since(uint64_t earlier, uint64_t now) { return now - std::min(earlier, now); }

}  // namespace

void CPathModel::Open(uint64_t now, uint64_t inFlight) {
    *this = CPathModel();
    m_nInitial = std::max(inFlight, kInitialPackets * kPacket);
    m_nEnteredAt = m_nDeliveredAt = m_nFirstSentAt = m_nSmallestAt = m_nUsedAt = now;
    m_ulRandom = static_cast<uint32_t>(now) | 1U;
}

Stamp CPathModel::OnSent(uint64_t now, uint64_t inFlight) {
    if (inFlight == 0) {
        m_nFirstSentAt = m_nDeliveredAt = now;
        m_nSmallestAt += now - m_nUsedAt;  // nothing could have been measured meanwhile
    }
    m_nUsedAt = now;
    return {now, m_nFirstSentAt, m_nDelivered, m_nDeliveredAt, m_nStarvedUntil != 0};
}

void CPathModel::OnDelivered(uint64_t now, uint32_t bytes) {
    m_nDelivered += bytes;
    m_round.delivered += bytes;
    m_nDeliveredAt = now;
}

void CPathModel::OnDelivered(uint64_t now, const Stamp& stamp, uint32_t bytes) {
    OnDelivered(now, bytes);
    if (m_sample.taken && stamp.sentAt < m_sample.stamp.sentAt) return;
    m_sample = {true, stamp};
    m_nFirstSentAt = stamp.sentAt;
}

// The smallest one is taken with the wait, which is next to nothing in a busy stream, and no other is taken for
// shorter: nobody makes them shorter by words.
void CPathModel::OnRoundTrip(uint64_t now, uint64_t microseconds, uint64_t waited) {
    const uint64_t whole = std::max<uint64_t>(microseconds, 1);
    const uint64_t least = m_nSmallest == 0 ? whole : std::min(whole, m_nSmallest);
    const uint64_t sample = std::max(whole - std::min(whole, waited), least);
    m_nSmoothed = m_nSmoothed == 0 ? sample : m_nSmoothed - m_nSmoothed / 8 + sample / 8;
    ++m_nRoundTrips;
    m_nRoundTripSum += sample;
    m_nProbed = m_nProbed == 0 ? whole : std::min(m_nProbed, whole);
    m_nCycleSmallest = m_nCycleSmallest == 0 ? whole : std::min(m_nCycleSmallest, whole);
    const uint64_t asGood = m_nSmallest + m_nSmallest / 32;  // no path keeps to the microsecond
    if (m_nSmallest == 0 || whole <= asGood) m_nSmallestAt = now;
    if (m_nSmallest == 0 || whole < m_nSmallest) m_nSmallest = whole;
}

void CPathModel::Update(uint64_t now, uint64_t inFlight) {
    m_nUsedAt = now;
    m_nRoundMostInFlight = std::max(m_nRoundMostInFlight, inFlight);
    if (m_nStarvedUntil != 0 && m_nDelivered > m_nStarvedUntil) m_nStarvedUntil = 0;
    if (m_sample.taken) Measure(now);
    m_sample.taken = false;
    if (m_bRoundEnded) EndRound(inFlight);
    Step(now, inFlight);
}

void CPathModel::OnStarved(uint64_t inFlight) { m_nStarvedUntil = std::max<uint64_t>(m_nDelivered + inFlight, 1); }

// Over the time of sending or of delivering, whichever was longer: neither a burst of packets nor one of
// acknowledgements makes the path faster than it is.
void CPathModel::Measure(uint64_t now) {
    const Stamp& stamp = m_sample.stamp;
    const uint64_t sending = Since(stamp.firstSentAt, stamp.sentAt);
    const uint64_t delivering = Since(stamp.deliveredAt, now);
    const uint64_t interval = std::max({sending, delivering, uint64_t{1}});
    if (stamp.delivered >= m_nRoundEnd) m_bRoundEnded = true;
    // One sample a round, once the rate is known: the highest of many would be one that chance has made too high.
    if (m_bFull && !m_bRoundEnded) return;
    if (interval >= m_nSmallest) Note((m_nDelivered - stamp.delivered) * kUsPerSecond / interval, stamp.starved);
}

// A starved stream shows no path slower than it is, but it may show one that is faster.
void CPathModel::Note(uint64_t rate, bool starved) {
    if (starved && rate < m_nRate) return;
    if (!starved) m_bRoundCounts = true;
    m_rates[0] = std::max(m_rates[0], rate);
    m_nRate = std::max(m_nRate, rate);
}

void CPathModel::EndRound(uint64_t inFlight) {
    m_nRoundEnd = m_nDelivered;
    m_bRoundEnded = false;
    NoteLosses(std::max(inFlight, m_nRoundMostInFlight));
    if (m_bRoundCounts) {
        LookWhetherFull();
        std::rotate(m_rates.begin(), m_rates.end() - 1, m_rates.end());
        m_rates[0] = 0;
        m_nRate = *std::max_element(m_rates.begin(), m_rates.end());
    }
    m_bRoundCounts = false;
    m_round = {};
    m_nRoundTrips = m_nRoundTripSum = m_nRoundMostInFlight = 0;
}

void CPathModel::NoteLosses(uint64_t inFlight) {
    ++m_nRoundsSinceProbe;
    ++m_nRoundsInState;
    if (!m_bFull && m_nRoundsSinceProbe <= kBeginning) return;
    m_judged.lost += m_round.lost;
    m_judged.delivered += m_round.delivered;
    if (m_nRoundsSinceProbe <= kProbeShows && m_round.lost * kAll > m_round.All() * MostByChance()) m_bProbeLost = true;
    if (LosesByChance()) NoteChanceLoss();
    if (!IsWorthJudging()) return;
    if (HasCongestion()) {
        Bound(inFlight);
        m_bFull = true;
    } else if (m_nBound != 0 && m_state == State::ProbeUp) {
        WidenBound();
    }
    m_judged = {};
}

bool CPathModel::HasQueue() const {
    return m_nRoundTrips > 0 && m_nRoundTripSum / m_nRoundTrips > Percent(m_nSmallest, kQueueShows);
}

bool CPathModel::IsWorthJudging() const {
    return m_judged.All() >= kLeastJudged || (!m_bFull && m_judged.lost >= kLeastLostAtStart);
}

// A queue that others keep full says nothing about this link: less in flight would only hand them its share.
bool CPathModel::HasCongestion() const {
    const bool ownQueue = HasQueue() && m_nOthers == 0;
    return m_judged.lost * kAll > m_judged.All() * (ownQueue ? MostByChance() : kLossWithout);
}

uint64_t CPathModel::MostByChance() const {
    return m_nChanceLoss + std::min(m_nChanceLoss, kMostSpread) + kLossWithQueue;
}

// Not in rounds that still tell of a probe. What is lost with a queue is no more than chance and the queue lose
// together.
bool CPathModel::LosesByChance() const {
    if (m_state != State::Cruise || m_nRoundsInState < kSteady) return false;
    const uint64_t lost = m_round.lost * kAll;
    if (HasQueue() && (m_round.All() < kLeastJudged || lost >= m_round.All() * m_nChanceLoss)) return false;
    return lost <= m_round.All() * kLossWithout;
}

// So much more has to be sent for the path's rate to arrive.
void CPathModel::NoteChanceLoss() {
    m_chance.lost += m_round.lost;
    m_chance.delivered += m_round.delivered;
    if (m_chance.All() > kChanceRemembered) m_chance = {m_chance.lost / 2, m_chance.delivered / 2};
    m_nChanceLoss = std::min(m_chance.lost * kAll / std::max(m_chance.All(), kLeastJudged), kMostChanceLoss);
}

void CPathModel::Bound(uint64_t inFlight) {
    m_nBound = std::max({Percent(inFlight, kBoundCut), Product(), kLeastBound * kPacket});
    m_nBoundStep = kBoundStep;
}

// By the same steps for everybody, so that who has less of a path catches up.
void CPathModel::WidenBound() {
    m_nBound += m_nBoundStep;
    m_nBoundStep *= 2;
    if (m_nBound > Percent(Held(), kProbeUpWindow)) m_nBound = 0;
}

void CPathModel::LookWhetherFull() {
    if (m_bFull) return;
    if (m_nRate >= Percent(m_nFullRate, kGrowth)) {
        m_nFullRate = m_nRate;
        m_nFullRounds = 0;
    } else if (++m_nFullRounds >= kFullRounds) {
        m_bFull = true;
    }
}

void CPathModel::Enter(State state, uint64_t now) {
    m_state = state;
    m_nEnteredAt = now;
    m_nRoundsInState = 0;
    m_ulRandom ^= m_ulRandom << 13;
    m_ulRandom ^= m_ulRandom >> 17;
    m_ulRandom ^= m_ulRandom << 5;
    if (state != State::ProbeUp) return;
    NoteOthers();
    m_nProbedRate = m_nRate;
    m_nRoundsSinceProbe = 0;
    m_bProbeLost = false;
}

// What stays in the queue although this link has drained its own part is others'. They take the path from whoever
// holds no more in flight than an empty queue asks for.
void CPathModel::NoteOthers() {
    m_nOthers = m_nCycleSmallest > Percent(m_nSmallest, kQueueShows) ? m_nCycleSmallest : 0;
    if (m_nOthers != 0) m_nBound = 0;
    m_nCycleSmallest = 0;
}

// Not always the same, so that links which share a path do not probe in step for ever.
uint64_t CPathModel::CruiseTime() const {
    const bool foundMore = m_nProbedRate != 0 && m_nRate > Percent(m_nProbedRate, kFoundMore);
    const uint64_t tenths = foundMore ? kSoon : m_bProbeLost ? kLate : kCruise + m_ulRandom % kCruiseSpread;
    return m_nSmallest * tenths / 10;
}

// A bound, or losses, keep a probe from getting as much in flight as it wants.
bool CPathModel::TooLong(uint64_t probed) const { return probed > 3 * std::max(m_nSmallest, m_nSmoothed); }

void CPathModel::Step(uint64_t now, uint64_t inFlight) {
    const uint64_t since = Since(m_nEnteredAt, now);
    const bool roundTripPassed = since > m_nSmallest;
    switch (m_state) {
        case State::StartUp:
            if (m_bFull) Enter(State::Drain, now);
            break;
        case State::Drain:
            if (inFlight <= Product()) Enter(State::Cruise, now);
            break;
        case State::Cruise:
            if (since > CruiseTime()) Enter(State::ProbeUp, now);
            break;
        case State::ProbeUp:
            if (roundTripPassed && (inFlight >= Percent(Held(), kProbedEnough) || m_nStarvedUntil || TooLong(since)))
                Enter(State::ProbeDown, now);
            break;
        case State::ProbeDown:
            if (inFlight <= Drained() || since > 2 * std::max(m_nSmallest, m_nOthers)) Enter(State::Cruise, now);
            break;
        case State::ProbeRoundTrip:
            break;
    }
    ProbeRoundTrip(now, inFlight);
}

// Once the smallest round trip is old, little stays in flight for a moment, and what is measured then counts.
void CPathModel::ProbeRoundTrip(uint64_t now, uint64_t inFlight) {
    if (m_state != State::ProbeRoundTrip) {
        if (now < m_nSmallestAt + kSmallestAge || m_nSmallest == 0) return;
        Enter(State::ProbeRoundTrip, now);
        m_nProbeEnd = m_nProbed = 0;
    }
    if (m_nProbeEnd == 0 && inFlight <= Window()) {
        m_nProbeEnd = now + std::max(m_nSmallest, kLeastRoundTripProbe);
        m_nProbed = 0;
    }
    if (m_nProbeEnd == 0 || now < m_nProbeEnd || m_nProbed == 0) return;
    m_nSmallest = m_nProbed;
    m_nSmallestAt = now;
    m_nOthers = 0;
    Enter(m_bFull ? State::Cruise : State::StartUp, now);
}

uint64_t CPathModel::Product() const { return m_nRate * m_nSmallest / kUsPerSecond; }

// A little less than is held beside others, so that a queue of one's own is not taken for theirs for long.
uint64_t CPathModel::Drained() const { return m_nOthers == 0 ? Product() : Percent(Held(), kDrained); }

uint64_t CPathModel::Held() const { return m_nRate * std::max(m_nSmallest, m_nOthers) / kUsPerSecond; }

uint64_t CPathModel::PacingRate() const {
    const uint64_t roundTrip = m_nSmallest == 0 ? kUnknownRoundTrip : m_nSmallest;
    const uint64_t least = kLeastPackets * kPacket * kUsPerSecond / roundTrip;
    switch (m_state) {
        case State::StartUp:
            return Percent(std::max(m_nRate, m_nInitial * kUsPerSecond / roundTrip), kStartUpRate);
        case State::Drain:
            return std::max(Percent(m_nRate, kDrainRate), least);
        case State::ProbeUp:
            return std::max(Percent(m_nRate, kProbeUpRate), least);
        case State::ProbeDown:
            return std::max(Percent(m_nRate, kProbeDownRate), least);
        case State::Cruise:
        case State::ProbeRoundTrip:
            break;
    }
    return std::max(m_nRate + m_nRate * m_nChanceLoss / kAll, least);
}

uint64_t CPathModel::Window() const {
    if (m_state == State::ProbeRoundTrip)
        return std::max(Percent(Product(), kRoundTripProbeWindow), kLeastPackets * kPacket);
    if (m_nRate == 0) return m_nInitial;
    // What waits for an acknowledgement that covers several, or for the thread that paces.
    const uint64_t slack = 3 * std::max(m_nRate / 1000, kBurstPackets * kPacket);
    const uint64_t percent = !m_bFull ? kStartUpWindow : m_state == State::ProbeUp ? kProbeUpWindow : kCruiseWindow;
    const uint64_t window = Percent(Held(), percent) + slack;
    if (!m_bFull) return std::max(window, m_nInitial);
    const uint64_t bound = m_state == State::ProbeUp ? m_nBound : Percent(m_nBound, kHeadroom);
    return std::max(m_nBound == 0 ? window : std::min(window, bound), kLeastPackets * kPacket);
}

uint64_t CPathModel::Burst() const { return std::max(PacingRate() / 1000, kBurstPackets * kPacket); }

}  // namespace wide
