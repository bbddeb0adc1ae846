// Acknowledgements and packets that cannot be, and far sides that tell what is not true.
#include "platform/lumobase/memory_budget.h"
#include "sim/wide_end.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

using namespace sim;
using namespace wide;

namespace {

/// Packets 100 to 119, sent and not acknowledged.
struct Flying {
    Flying() {
        model.Open(1, 0);
        flight.Open(100);
        for (uint64_t number = 100; number < 120; ++number) {
            flight.Append({"x", 1, true, true});
            flight.OnSent(1000 + number, number);
        }
    }
    bool Hear(uint32_t delivered, std::vector<wide::Range> ranges = {}, uint16_t room = 64, uint32_t transmission = 0) {
        Ack ack;
        ack.delivered = delivered;
        ack.transmission = transmission;
        ack.room = room;
        for (const wide::Range& range : ranges) ack.ranges[ack.rangeCount++] = range;
        return flight.OnAck(now += 1000, ack);
    }
    uint64_t now = 50000;
    CPathModel model;
    CFlight flight{model};
};

TEST(WideHostile, AnAcknowledgementOfWhatWasNeverSentIsIgnored) {
    struct {
        uint32_t delivered;
        std::vector<wide::Range> ranges;
    } const rows[] = {
        {120, {}},       {100 + 32768, {}}, {99U + 0x80000000U, {}}, {0x7FFFFFFF, {}},
        {99, {{2, 20}}}, {110, {{2, 9}}},   {99, {{30, 1}}},         {99, {{2, 1}, {3, 16384}}},
    };
    for (const auto& row : rows) {
        Flying flying;
        const uint64_t inFlight = flying.flight.InFlight();
        EXPECT_FALSE(flying.Hear(row.delivered, row.ranges)) << row.delivered;
        EXPECT_EQ(flying.flight.WasLiedTo(), row.delivered < 0x80000000U) << "unless it may be an old one";
        EXPECT_EQ(flying.flight.First(), 100U);
        EXPECT_EQ(flying.flight.InFlight(), inFlight);
    }
}

TEST(WideHostile, RoundTripsAreNoShorterForALongWaitThatIsClaimed) {
    CPathModel model;
    model.Open(1, 0);
    for (uint64_t now = 100000; now < 200000; now += 1000) model.OnRoundTrip(now, 50000, 60000);
    EXPECT_EQ(model.SmallestRoundTrip(), 50000U);
    EXPECT_GT(model.SmoothedRoundTrip(), 49000U);
}

TEST(WideHostile, RangesInAnyOrderOrOverlappingCountOnce) {
    Flying flying;
    const uint64_t each = flying.flight.InFlight() / 20;
    EXPECT_TRUE(flying.Hear(99, {{10, 3}, {2, 4}, {9, 5}, {4, 2}, {12, 1}}));
    EXPECT_EQ(flying.flight.InFlight() + flying.flight.LostPackets() * each, 11 * each);  // 101-104 and 108-112 arrived
    EXPECT_TRUE(flying.Hear(104, {{4, 5}}));
    EXPECT_EQ(flying.flight.First(), 105U);
    EXPECT_TRUE(flying.Hear(99)) << "overtaken by a later one";
    EXPECT_EQ(flying.flight.First(), 105U);
    EXPECT_TRUE(flying.Hear(119));
    EXPECT_TRUE(flying.flight.IsEmpty());
    EXPECT_EQ(flying.flight.InFlight(), 0U);
}

TEST(WideHostile, WhatTheFarSideGaveBackIsSentAgainOnceASecondAtMost) {
    Flying flying;
    flying.now = 5000000;
    Ack ack;
    ack.delivered = 99;
    ack.rangeCount = 1;
    ack.ranges[0] = {3, 10};
    ack.room = 64;
    EXPECT_TRUE(flying.flight.OnAck(flying.now, ack));
    ack.rangeCount = 0;
    uint64_t number = 0;
    uint64_t again = 0;
    for (int i = 0; i < 100; ++i) {
        ++ack.givenBack;
        flying.now += 10000;
        EXPECT_TRUE(flying.flight.OnAck(flying.now, ack));
        for (; flying.flight.FindLost(number); ++again) flying.flight.OnSent(flying.now, number);
    }
    EXPECT_GE(again, 10U);
    EXPECT_LE(again, 40U) << "each of 20 packets twice at most, not a hundred times";
}

// Whoever lacks what comes next has not kept what it had behind it.
TEST(WideHostile, WhatTheFarSideHadAndLacksIsSentAgain) {
    Flying flying;
    flying.now = 5000000;
    uint64_t number = 0;
    EXPECT_TRUE(flying.Hear(99, {{3, 10}}));
    EXPECT_TRUE(flying.Hear(101));
    EXPECT_EQ(flying.flight.First(), 102U);
    EXPECT_TRUE(flying.flight.FindLost(number));
    EXPECT_EQ(number, 102U);
}

// A number that is left out for a moment finds those who acknowledge what has not come to them.
TEST(WideHostile, WhoAcknowledgesANumberThatWasLeftOutIsFoundOut) {
    Flying flying;
    flying.flight.Append({"x", 1, true, true});
    flying.flight.Append({"x", 1, true, true});
    flying.flight.OnSent(60000, 121);
    EXPECT_TRUE(flying.Hear(119, {{2, 1}}));
    EXPECT_FALSE(flying.flight.WasLiedTo());
    EXPECT_TRUE(flying.Hear(121));
    EXPECT_TRUE(flying.flight.WasLiedTo());
}

std::string Changed(std::string ack, const std::function<void(Ack&)>& change) {
    Ack told;
    char* packet = ack.data() + CWideEnd::kEnvelope;
    if (!ReadAck(packet, static_cast<int>(ack.size()) - CWideEnd::kEnvelope, told)) return ack;
    ack.resize(CWideEnd::kEnvelope + kMaxAckLen);
    packet = ack.data() + CWideEnd::kEnvelope;
    change(told);
    ack.resize(static_cast<size_t>(CWideEnd::kEnvelope + WriteAck(packet, told)));
    return ack;
}

std::string Early(const std::string& ack, uint32_t ahead) {
    return Changed(ack, [ahead](Ack& told) {
        told.delivered += ahead;
        told.rangeCount = 0;
    });
}

// A far side without room is asked once a second whether that is still so.
TEST(WideHostile, RoomThatEndsAndReturnsIsFoundOutAbout) {
    const CWideSessions wide;
    WidePair pair{PathTraits()};
    pair.left.Fill(64 * 1024);
    pair.events.RunFor(1000000);
    pair.home.receiver = [&](const std::string& ack) {
        pair.left.Hear(Changed(ack, [](Ack& told) { told.room = 0; }));
    };
    pair.events.RunFor(2000000);
    const uint64_t sent = pair.out.counts.sent;
    pair.events.RunFor(10000000);
    EXPECT_GE(pair.out.counts.sent - sent, 9U);
    EXPECT_LE(pair.out.counts.sent - sent, 11U);
    pair.home.receiver = [&](const std::string& ack) { pair.left.Hear(ack); };
    pair.events.RunFor(2000000);
    const uint64_t before = pair.right.bytesReceived;
    pair.events.RunFor(1000000);
    EXPECT_GT(pair.right.bytesReceived - before, 11000000U);
}

TEST(WideHostile, WhoAcknowledgesEarlyGainsNothing) {
    const CWideSessions wide;
    uint64_t honest = 0;
    struct {
        uint32_t ahead, step;
    } const rows[] = {{0, 0}, {300, 300}, {500, 500}, {2000, 25}};
    for (const auto& [ahead, step] : rows) {
        WidePair pair{PathTraits()};
        pair.left.Fill(64 * 1024);
        pair.events.RunFor(1000000);
        pair.home.receiver = [&, most = ahead, by = step](const std::string& ack) {
            if (most == 0) return pair.left.Hear(ack);
            for (uint32_t early = by; early <= most; early += by) pair.left.Hear(Early(ack, early));
        };
        const uint64_t before = pair.out.counts.sent;
        pair.events.RunFor(4000000);
        const uint64_t sent = pair.out.counts.sent - before;
        if (ahead == 0) {
            honest = sent;
            EXPECT_FALSE(pair.left.session.WasLiedTo());
        }
        EXPECT_TRUE(sent <= honest + honest / 20) << ahead << ": " << sent;
        EXPECT_TRUE(ahead == step || pair.left.session.WasLiedTo()) << "steps";
    }
}

TEST(WideHostile, AckLengthsAndCountsAreChecked) {
    char packet[kMaxAckLen + 1] = {};
    Ack ack;
    ack.delivered = 7;
    ack.room = 60000;
    ack.rangeCount = 2;
    ack.ranges[0] = {2, 16383};
    ack.ranges[1] = {2, 1};
    const int length = WriteAck(packet, ack);
    Ack read;
    ASSERT_TRUE(ReadAck(packet, length, read));
    EXPECT_EQ(read.room, kMaxInFlight);
    for (int shorter = 0; shorter < length; ++shorter) EXPECT_FALSE(ReadAck(packet, shorter, read)) << shorter;
    EXPECT_FALSE(ReadAck(packet, length + 1, read));
    for (const wide::Range& range :
         {wide::Range{0, 1}, wide::Range{1, 1}, wide::Range{2, 0}, wide::Range{2, 16384}, wide::Range{16385, 1}}) {
        ack.ranges[1] = range;
        EXPECT_FALSE(ReadAck(packet, WriteAck(packet, ack), read)) << range.first << ' ' << range.count;
    }
    packet[session::kHeaderLen + kAckFixedLen - 1] = static_cast<char>(wide::kMaxRanges + 1);
    EXPECT_FALSE(ReadAck(packet, session::kHeaderLen + kAckFixedLen + 4 * (wide::kMaxRanges + 1), read));
}

/// A receiver alone, that has accepted an offer and heard number 0.
struct Receiving final : ISessionOwner {
    Receiving() {
        session.OpenSession();
        for (const uint32_t sequence : {1U, 0U}) Hear(sequence, nullptr);
        Hear(2, nullptr);
    }
    virtual ~Receiving() { session.CloseSession(); }
    /// In the given form with an offer, or in the wide form.
    void Hear(uint32_t number, const Head* head, uint32_t sender = 0, size_t payload = 4) {
        std::string packet(session::kHeaderLen + payload, '\0');
        packet[1] = static_cast<char>(number);
        packet[3] = 6;  // begin and end
        if (head)
            WriteHead(packet.data(), sender == 0 ? token : sender, *head);
        else
            WriteOffer(packet.data(), sender == 0 ? token : sender);
        session.OnSCTPSessionReceivedData(packet.data(), static_cast<int>(packet.size()));
    }
    void HearWide(uint32_t number, size_t payload = 4) {
        const Head head{number, number};
        Hear(number, &head, 0, payload);
    }
    void OnSCTPSessionReceivedFrame(char*, int) override {
        ++frames;
        if (closesAt == frames) session.CloseSession();
    }
    void SendSCTPData(char* packet, int length) override {
        ++acks;
        ReadAck(packet, length, last);
    }
    const CWideSessions on;
    const uint32_t token = DrawToken();
    CSession session{*this};
    int frames = 0, acks = 0, closesAt = 0;
    Ack last;
};

// Another upper half, another token, a number beyond the room or far behind: dropped without an answer.
TEST(WideHostile, PacketsThatCannotBeAreDroppedSilently) {
    CEvents events;
    Receiving receiver;
    ASSERT_EQ(receiver.frames, 3);
    const Head first{3, 0};
    receiver.Hear(3, &first);
    ASSERT_EQ(receiver.frames, 4);
    ASSERT_EQ(receiver.last.delivered, 3U);
    const int acks = receiver.acks;
    for (const uint32_t number :
         {4 + 0x10000U, 4 + 0x80000000U, 4U - 0x10000U, 4U - 20000U, 4 + 20000U, 4 + kMaxInFlight + 64}) {
        const Head head{number, 1};
        receiver.Hear(number, &head);
    }
    const Head foreign{4, 1};
    receiver.Hear(4, &foreign, DrawToken());
    EXPECT_EQ(receiver.frames, 5) << "another token's head reads as a packet of the given form";
    EXPECT_EQ(receiver.acks, acks + 1);
    const Head early{4 + 100, 2}, again{4 + 100, 3}, late{2, 4};
    for (const Head* head : {&early, &again, &late}) receiver.Hear(head->number, head);
    EXPECT_EQ(receiver.frames, 5);
    EXPECT_EQ(receiver.acks, acks + 4) << "a gap and repetitions are answered at once";
    EXPECT_EQ(receiver.last.transmission, 4U);
}

// Offers that somebody says again, or invents, change nothing once the far side's token is in use.
TEST(WideHostile, OldOffersDoNotReplaceTheTokenInUse) {
    CEvents events;
    Receiving receiver;
    receiver.HearWide(3);
    const uint32_t old = DrawToken();
    receiver.Hear(1, nullptr, old);
    receiver.Hear(2, nullptr, old);
    receiver.HearWide(4);
    EXPECT_EQ(receiver.frames, 5);
    EXPECT_EQ(receiver.last.delivered, 4U);
}

// What is held behind a gap is given back ten seconds after the last progress, whatever clock the worker has read.
TEST(WideHostile, AGapThatStaysOpenGivesBackWhatIsHeldBehindIt) {
    CEvents events;
    Receiving receiver;
    const uint64_t taken = EarlyBudget().Sum();
    receiver.HearWide(3);
    receiver.HearWide(6);
    receiver.HearWide(7, 60000);
    EXPECT_GE(EarlyBudget().Sum(), taken + 60000) << "what is long is charged, and whole";
    events.RunFor(1000050);
    receiver.HearWide(4);
    receiver.session.DoDue(CEvents::Now() - 10);
    EXPECT_EQ(receiver.last.givenBack, 0);
    EXPECT_EQ(receiver.last.rangeCount, 1);
    events.RunFor(11000000);
    receiver.session.DoDue(CEvents::Now());
    EXPECT_EQ(receiver.last.givenBack, 1);
    EXPECT_EQ(receiver.last.rangeCount, 0);
    EXPECT_EQ(EarlyBudget().Sum(), taken);
    for (const uint32_t number : {5U, 6U, 7U}) receiver.HearWide(number);
    EXPECT_EQ(receiver.frames, 8);
}

TEST(WideHostile, ASessionMayBeClosedFromWithinAFrame) {
    CEvents events;
    Receiving receiver;
    for (const uint32_t number : {3U, 5U, 6U, 7U}) receiver.HearWide(number);
    receiver.closesAt = receiver.frames + 2;
    receiver.HearWide(4);
    EXPECT_EQ(receiver.frames, receiver.closesAt);
}

}  // namespace
