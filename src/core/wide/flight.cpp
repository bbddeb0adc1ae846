#include "core/wide/flight.h"

#include <algorithm>

namespace wide {

namespace {

constexpr uint64_t kNone = UINT64_MAX;
constexpr uint64_t kReordering = 3;       // later ones that have arrived make one lost
constexpr uint64_t kMostReordering = 64;  // once reordering has shown itself
constexpr uint64_t kMostTransmissions = uint64_t{4} * kMaxInFlight;
constexpr size_t kIdleSlots = 256;
constexpr uint64_t kUnknownLossDelay = 200000;
constexpr uint64_t kForgetEvery = 1000000;  // us; an honest far side gives back once in ten seconds

}  // namespace

void CFlight::Open(uint64_t first) {
    m_packets.Clear(first);
    m_transmissions.Clear();
    m_lost.Clear();
    m_arrived.Clear();
    m_nScan = m_nHighest = m_nInFlight = m_nLost = m_nProgressAt = m_nForgotAt = m_nLossAt = 0;
    m_nReordering = kReordering;
    m_nLimit = first + kUnbudgetedRoom;
    m_nAnswered = kNone;
    m_nGivenBack = 0;
    m_bLiedTo = false;
}

bool CFlight::Append(const Piece& piece) { return m_packets.PushBack({piece, State::New, false, 0}); }

uint32_t CFlight::OnSent(uint64_t now, uint64_t number) {
    Packet& packet = m_packets[number];
    while (m_transmissions.Size() >= kMostTransmissions) m_transmissions.PopFront();
    const uint64_t transmission = m_transmissions.Next();
    const bool noted = m_transmissions.PushBack({number, m_model.OnSent(now, m_nInFlight), false});
    if (packet.state != State::InFlight) m_nInFlight += Cost(packet);
    packet.single = noted && packet.state == State::New;
    packet.state = State::InFlight;
    packet.transmission = noted ? transmission : kNone;
    return noted ? static_cast<uint32_t>(transmission & 0xFFFFFFU) : kNoTransmission;
}

void CFlight::Carry(uint64_t sentAt, uint64_t number) {
    OnSent(sentAt, number);
    m_packets[number].single = false;
}

bool CFlight::FindLost(uint64_t& number) {
    while (!m_lost.IsEmpty()) {
        number = m_lost.All().front().first;
        if (m_packets.Has(number) && m_packets[number].state == State::Lost) return true;
        m_lost.DropBefore(number + 1);
    }
    return false;
}

uint64_t CFlight::LastMissing() const {
    uint64_t number = Next() - 1;
    while (number > First() && m_packets[number].state == State::Arrived) --number;
    return number;
}

bool CFlight::Unwrap(const Ack& ack, uint64_t& end) {
    const auto ahead = static_cast<int32_t>(ack.delivered + 1 - static_cast<uint32_t>(First()));
    if (ahead < 0 && static_cast<uint64_t>(-static_cast<int64_t>(ahead)) > std::min<uint64_t>(First(), kMaxInFlight))
        return false;
    end = First() + static_cast<uint64_t>(static_cast<int64_t>(ahead));
    uint64_t told = end;
    for (int i = 0; i < ack.rangeCount; ++i) {
        const Range& range = ack.ranges[static_cast<size_t>(i)];
        told = std::max(told, end - 1 + range.first + range.count);
    }
    if (told > Next()) m_bLiedTo = true;
    return told <= Next();
}

bool CFlight::OnAck(uint64_t now, const Ack& ack) {
    uint64_t end = 0;
    if (!Unwrap(ack, end)) return false;
    if (end >= First()) m_nLimit = end + ack.room;  // else it was overtaken by a later one
    Answer(now, ack);
    DeliverBefore(now, end);
    if (HasDropped(ack, end) && now >= m_nForgotAt + kForgetEvery) ForgetArrived(now, ack.givenBack);
    for (int i = 0; i < ack.rangeCount; ++i) {
        const Range& range = ack.ranges[static_cast<size_t>(i)];
        const uint64_t first = std::max(end - 1 + range.first, First());
        const uint64_t last = end - 1 + range.first + range.count;
        if (first < last) m_arrived.Add({first, last}, [&](uint64_t number) { Arrive(now, number); });
    }
    FindLosses(now);
    m_model.Update(now, m_nInFlight);
    return true;
}

void CFlight::OnGivenAck(uint64_t now, bool flag, uint64_t number) {
    m_nAnswered = kNone;
    if (number < First() || number >= Next()) return;
    if (flag)
        DeliverBefore(now, number + 1);
    else
        m_arrived.Add({number, number + 1}, [&](uint64_t arrived) { Arrive(now, arrived); });
}

// The transmission that it answers gives a round trip, once, and may show that an earlier verdict was wrong.
void CFlight::Answer(uint64_t now, const Ack& ack) {
    m_nAnswered = kNone;
    if (ack.transmission == kNoTransmission || m_transmissions.IsEmpty()) return;
    const uint64_t newest = m_transmissions.Next() - 1;
    const uint64_t back = (newest - ack.transmission) & 0xFFFFFFU;
    if (back > newest || !m_transmissions.Has(newest - back)) return;
    m_nAnswered = newest - back;
    Transmission& answered = m_transmissions[m_nAnswered];
    if (answered.answered) return;
    answered.answered = true;
    if (now > answered.stamp.sentAt) m_model.OnRoundTrip(now, now - answered.stamp.sentAt, ack.waitedUs);
    m_nHighest = std::max(m_nHighest, m_nAnswered + 1);
    if (!m_packets.Has(answered.number)) return;
    const Packet& packet = m_packets[answered.number];
    if (packet.state == State::Lost || packet.transmission != m_nAnswered) NoteReordering(m_nAnswered);
}

void CFlight::NoteReordering(uint64_t transmission) {
    const uint64_t distance = m_nHighest - transmission;
    m_nReordering = std::clamp(distance, m_nReordering, kMostReordering);
}

void CFlight::Arrive(uint64_t now, uint64_t number) {
    Packet& packet = m_packets[number];
    if (packet.state == State::New) m_bLiedTo = true;
    if (packet.state == State::Arrived || packet.state == State::New) return;
    if (packet.state == State::InFlight) m_nInFlight -= Cost(packet);
    packet.state = State::Arrived;
    m_nProgressAt = now;
    const bool known = packet.single || packet.transmission == m_nAnswered;
    if (!known || !m_transmissions.Has(packet.transmission)) return m_model.OnDelivered(now, Cost(packet));
    m_model.OnDelivered(now, m_transmissions[packet.transmission].stamp, Cost(packet));
    m_nHighest = std::max(m_nHighest, packet.transmission + 1);
}

void CFlight::DeliverBefore(uint64_t now, uint64_t end) {
    while (First() < end) {
        Arrive(now, First());
        m_packets.PopFront();
    }
    m_arrived.DropBefore(First());
    while (!m_transmissions.IsEmpty() && m_transmissions[m_transmissions.First()].number < First())
        m_transmissions.PopFront();
}

bool CFlight::HasMuchMemory() const {
    return m_packets.Capacity() > kIdleSlots || m_transmissions.Capacity() > kIdleSlots;
}

void CFlight::GiveBackMemory() {
    if (!m_packets.IsEmpty()) return;
    m_lost.Clear();
    if (m_packets.Capacity() > kIdleSlots) m_packets.Clear(m_packets.Next());
    if (m_transmissions.Capacity() > kIdleSlots) m_transmissions.Clear(m_transmissions.Next());
}

// It says so, or lacks the very packet after the last delivered one, which it has had.
bool CFlight::HasDropped(const Ack& ack, uint64_t end) const {
    if (ack.givenBack != m_nGivenBack) return true;
    return end == First() && !IsEmpty() && m_packets[First()].state == State::Arrived;
}

// The far side has dropped what it held: what has arrived and is not delivered has to be sent again.
void CFlight::ForgetArrived(uint64_t now, uint8_t givenBack) {
    m_nGivenBack = givenBack;
    m_nForgotAt = now;
    for (const Interval& interval : m_arrived.All())
        for (uint64_t number = interval.first; number < interval.end; ++number) {
            Packet& packet = m_packets[number];
            if (packet.state == State::InFlight) m_nInFlight -= Cost(packet);  // a probe has sent it again
            packet.state = State::Lost;
            AddLost(number);
        }
    m_arrived.Clear();
}

void CFlight::Lose(Packet& packet, uint64_t number) {
    packet.state = State::Lost;
    m_nInFlight -= Cost(packet);
    m_model.OnLost(Cost(packet));
    AddLost(number);
    ++m_nLost;
}

uint64_t CFlight::LossDelay() const {
    const uint64_t roundTrip = m_model.SmoothedRoundTrip();
    return roundTrip == 0 ? kUnknownLossDelay : roundTrip + roundTrip / (m_nReordering > kReordering ? 4 : 8) + 1000;
}

bool CFlight::IsSettled(uint64_t transmission) const {
    const uint64_t number = m_transmissions[transmission].number;
    if (!m_packets.Has(number)) return true;
    const Packet& packet = m_packets[number];
    return packet.state != State::InFlight || packet.transmission != transmission;
}

uint64_t CFlight::OldestSentAt() {
    m_nScan = std::max(m_nScan, m_transmissions.First());
    while (m_nScan < m_transmissions.Next() && IsSettled(m_nScan)) ++m_nScan;
    return m_nScan < m_transmissions.Next() ? m_transmissions[m_nScan].stamp.sentAt : 0;
}

// Transmissions are looked at in the order in which they left, each until it is settled.
void CFlight::FindLosses(uint64_t now) {
    m_nLossAt = 0;
    m_nScan = std::max(m_nScan, m_transmissions.First());
    for (; m_nScan + 1 < m_nHighest; ++m_nScan) {
        if (IsSettled(m_nScan)) continue;
        const Transmission& transmission = m_transmissions[m_nScan];
        const uint64_t late = transmission.stamp.sentAt + LossDelay();
        if (m_nHighest - 1 - m_nScan < m_nReordering && now < late) {
            m_nLossAt = late;
            return;
        }
        Lose(m_packets[transmission.number], transmission.number);
    }
}

uint64_t CFlight::FindLate(uint64_t now) {
    if (m_nLossAt != 0 && now >= m_nLossAt) FindLosses(now);
    return m_nLossAt;
}

}  // namespace wide
