#include "seal/past_senders.h"
#include "seal_scene.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <memory>
#include <random>
#include <set>
#include <thread>
#include <vector>

namespace {

constexpr SealSuite kSuite = SEAL_AES_128_GCM_SHA256_128;

struct SentFrame {
    std::string plain, sealed;
};

/// Frames of ten senders of one secret; where there is only one at a time, one after another.
std::vector<SentFrame> SomeFrames(const LumoSealStream& stream, SealSuite suite, std::mt19937& random) {
    const unsigned long start = CSealer::StartNow();
    std::list<CSealer> senders;
    const bool oneAtATime = seal::SendersOf(stream) == seal::Senders::One;
    std::vector<SentFrame> sent(300);
    for (size_t i = 0; i < sent.size(); ++i) {
        sent[i].plain.resize(3 + (random() % 50 == 0 ? random() % 70000 : random() % 100));
        for (char& byte : sent[i].plain) byte = static_cast<char>(random());
        if (i % 30 == 0) senders.emplace_back(Secret(), stream, suite, start);
        const size_t which = oneAtATime ? senders.size() - 1 : random() % senders.size();
        sent[i].sealed = Sealed(*std::next(senders.begin(), static_cast<int>(which)), sent[i].plain);
        EXPECT_FALSE(sent[i].sealed.empty());
    }
    return sent;
}

/// Any frame in any order, any number of times, any bit changed: each opens once or not at all, and as it was.
void DeliverAnyhow(const LumoSealStream& stream, SealSuite suite, unsigned seed) {
    SCOPED_TRACE("medium " + std::to_string(stream.medium) + ", seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::vector<SentFrame> sent = SomeFrames(stream, suite, random);
    COpener opener(Secret(), stream, suite);
    std::set<size_t> opened;
    for (size_t i = 0; i < 3 * sent.size(); ++i) {
        const size_t which = random() % 3 != 0 ? i / 3 : random() % (i / 3 + 2) % sent.size();
        std::string arrived = sent[which].sealed;
        size_t at = random() % arrived.size();
        if (stream.medium == SEAL_VIDEO && (at == 1 || at == 2)) at = 0;  // links write these
        if (random() % 4 == 0) arrived[at] = static_cast<char>(arrived[at] ^ 1 << random() % 8);
        if (random() % 40 == 0) arrived.resize(at);
        const Opened result = Open(opener, arrived);
        if (result.outcome != SEAL_DONE) continue;
        EXPECT_EQ(arrived, sent[which].sealed);
        EXPECT_EQ(result.frame, sent[which].plain);
        EXPECT_TRUE(opened.insert(which).second) << which << " opened twice";
    }
    EXPECT_GT(opened.size(), sent.size() / 2);
}

TEST(OpenerProperty, AFrameOpensOnceOrNotAtAll) {
    for (unsigned seed = 1; seed <= 10; ++seed)
        for (const LumoSealStream& stream : {kAudio, kVideo, kFile, kFileUp})
            DeliverAnyhow(stream, seed % 2 ? SEAL_AES_128_GCM_SHA256_128 : SEAL_AES_256_GCM_SHA512_128, seed);
}

TEST(OpenerProperty, NoBitCanBeChanged) {
    CSealer sealer(Secret(), kVideo);
    const std::string sealed = Sealed(sealer, std::string("\1\0\0picture", 10));
    COpener opener(Secret(), kVideo);
    for (size_t bit = 0; bit < 8 * sealed.size(); ++bit) {
        std::string changed = sealed;
        changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ 1 << bit % 8);
        const bool clear = bit / 8 == 1 || bit / 8 == 2;
        EXPECT_TRUE(clear || Open(opener, changed).outcome != SEAL_DONE) << bit;
    }
    std::string numbered = sealed;
    numbered[1] = 'n';
    numbered[2] = 'o';
    EXPECT_EQ(Open(opener, numbered).frame, "\1nopicture") << "what a TCP sender writes";
    EXPECT_EQ(Open(opener, sealed).outcome, SEAL_REPEATED);
}

TEST(Opener, OpensWhatIsOfItsStreamAndSecretAlone) {
    const LumoSealStream streams[] = {kAudio,
                                      kVideo,
                                      kFile,
                                      kFileUp,
                                      {SEAL_FILE, SEAL_DOWN, 8},
                                      {SEAL_DESKTOP, SEAL_DOWN, 7},
                                      {SEAL_DESKTOP, SEAL_UP, 7}};
    for (const LumoSealStream& from : streams) {
        CSealer sealer(Secret(), from);
        const std::string sealed = Sealed(sealer, std::string(40, '\0'));
        for (const LumoSealStream& to : streams) {
            COpener opener(Secret(), to);
            const bool same = &from == &to;
            EXPECT_EQ(Open(opener, sealed).outcome == SEAL_DONE, same) << from.medium << ' ' << to.medium;
        }
        CSealSecret another;
        another.Draw();
        COpener stranger(another, from), suite(Secret(), from, SEAL_AES_256_GCM_SHA512_128);
        EXPECT_EQ(Open(stranger, sealed).outcome, SEAL_WRONG);
        EXPECT_EQ(Open(suite, sealed).outcome, SEAL_WRONG);
    }
}

TEST(Opener, SaysWhyAFrameDoesNotOpen) {
    COpener opener(Secret(), kFile);
    CSealer sealer(Secret(), kFile);
    const std::string one = Sealed(sealer, "one"), two = Sealed(sealer, "two");
    const std::pair<std::string, SealOutcome> rows[] = {{"", SEAL_PLAIN},
                                                        {"LUMF and so on, a plain frame", SEAL_PLAIN},
                                                        {"\xf0", SEAL_MALFORMED},
                                                        {one.substr(0, one.size() - 4), SEAL_MALFORMED},
                                                        {two, SEAL_DONE},
                                                        {one, SEAL_REPEATED},
                                                        {two, SEAL_REPEATED},
                                                        {std::string("\xf0\x7f") + one.substr(2), SEAL_MALFORMED},
                                                        {one + "more", SEAL_REPEATED}};
    unsigned long long expected[SEAL_OUTCOMES] = {};
    for (const auto& [frame, outcome] : rows) {
        EXPECT_EQ(Open(opener, frame).outcome, outcome) << frame;
        ++expected[outcome];
    }
    std::string out(100, 'x');
    int length = 0;
    std::string altered = Sealed(sealer, "three");
    altered.back() = static_cast<char>(altered.back() ^ 1);
    opener.Open(altered.data(), static_cast<int>(altered.size()), out.data(), 100, length);
    ++expected[SEAL_WRONG];
    EXPECT_EQ(out.substr(0, 6), std::string(5, '\0') + 'x') << "what was not authentic is left to nobody";
    for (int i = 0; i < SEAL_OUTCOMES; ++i) EXPECT_EQ(opener.GetCount(static_cast<SealOutcome>(i)), expected[i]) << i;
}

// Rows are counters in the order of arrival, with whether they open.
TEST(Opener, AudioMayChangePlacesAndReliableMediaMayNot) {
    const std::vector<std::pair<uint64_t, bool>> audio = {
        {5, true},    {3, true},     {3, false},         {0, true},     {2000, true},  {976, false},
        {977, true},  {977, false},  {1999, true},       {2001, true},  {977, false},  {978, true},
        {4000, true}, {3999, true},  {2977, true},       {2976, false}, {4000, false}, {5000, true},
        {4001, true}, {4001, false}, {1ULL << 31, true}, {4002, false}};
    const std::vector<std::pair<uint64_t, bool>> reliable = {
        {5, true}, {3, false}, {5, false}, {6, true}, {2000, true}, {1999, false}, {1ULL << 31, true}, {2001, false}};
    for (const LumoSealStream& stream : {kAudio, kVideo, kFile, kFileUp}) {
        CSealer sealer(Secret(), stream);
        COpener opener(Secret(), stream);
        for (const auto& [counter, opens] : stream.medium == SEAL_AUDIO ? audio : reliable) {
            CSealerState::Seem(sealer, counter, 0);
            const Opened result = Open(opener, Sealed(sealer, "frame"));
            EXPECT_EQ(result.outcome, opens ? SEAL_DONE : SEAL_REPEATED) << stream.medium << ' ' << counter;
        }
    }
}

TEST(Opener, DoesNotGoBackToAnEarlierStart) {
    struct Row {
        LumoSealStream stream;
        int64_t minutes;  // from the first start to the second
        SealOutcome first;
    };
    const Row rows[] = {{kAudio, 1, SEAL_EARLIER}, {kVideo, 0, SEAL_EARLIER}, {kVideo, 1, SEAL_EARLIER},
                        {kFile, 0, SEAL_DONE},     {kFile, 1, SEAL_EARLIER},  {kFileUp, 1, SEAL_DONE}};
    for (const Row& row : rows) {
        const CHandOfClock clock;
        COpener opener(Secret(), row.stream), newcomer(Secret(), row.stream);
        CSealer first(Secret(), row.stream);
        const std::string early = Sealed(first, "early"), late = Sealed(first, "late");
        EXPECT_EQ(Open(opener, early).outcome, SEAL_DONE);
        CHandOfClock::Move(row.minutes);
        CSealer second(Secret(), row.stream);
        const std::string next = Sealed(second, "next"), last = Sealed(second, "last");
        EXPECT_EQ(Open(opener, next).outcome, SEAL_DONE);
        EXPECT_EQ(Open(opener, late).outcome, row.first) << row.stream.medium << ' ' << row.minutes;
        EXPECT_NE(Open(opener, early).outcome, SEAL_DONE);
        EXPECT_EQ(Open(opener, last).outcome, SEAL_DONE);
        EXPECT_EQ(Open(newcomer, last).outcome, SEAL_DONE);
        const bool later = row.minutes > 0 && row.first == SEAL_EARLIER;
        EXPECT_EQ(Open(newcomer, early).outcome == SEAL_EARLIER, later) << "it never heard the first";
    }
}

TEST(Opener, TakesNoSenderThatStartedADayAway) {
    const CHandOfClock clock;
    CSealer sealer(Secret(), kFileUp);
    const std::string frames[] = {Sealed(sealer, "0"), Sealed(sealer, "1"), Sealed(sealer, "2")};
    constexpr int64_t kDay = seal::CPastSenders::kStartMinutes;
    for (const int64_t away : {kDay, kDay + 1, -kDay, -kDay - 1}) {
        CHandOfClock::Move(away);
        COpener opener(Secret(), kFileUp), told(Secret(), kFileUp, kSuite, true);
        const bool near = away == kDay || away == -kDay;
        EXPECT_EQ(Open(opener, frames[0]).outcome, near ? SEAL_DONE : SEAL_START) << away;
        EXPECT_EQ(Open(told, frames[0]).outcome, SEAL_DONE);
        CHandOfClock::Move(3 * kDay);
        EXPECT_EQ(Open(opener, frames[1]).outcome == SEAL_DONE, near) << "who is known may stay as long as they like";
        CHandOfClock::Move(-3 * kDay - away);
    }
}

TEST(Opener, WhatIsInventedDisplacesNobody) {
    COpener opener(Secret(), kFileUp);
    CSealer honest(Secret(), kFileUp);
    EXPECT_EQ(Open(opener, Sealed(honest, "hello")).outcome, SEAL_DONE);
    std::mt19937_64 random(1);
    for (int i = 0; i < 5000; ++i) {
        std::string invented = Sealed(honest, "invented");
        const uint64_t keyID = seal::KeyID(seal::StartOf(honest.GetKeyID()), static_cast<uint32_t>(random()));
        for (size_t at = 0; at < 8; ++at) invented[1 + at] = static_cast<char>(keyID >> (56 - 8 * at));
        EXPECT_EQ(Open(opener, invented).outcome, SEAL_WRONG);
    }
    EXPECT_EQ(Open(opener, Sealed(honest, "still here")).outcome, SEAL_DONE);
    EXPECT_EQ(opener.GetCount(SEAL_WRONG), 5000U);
}

// Far more senders than an opener can remember: it opens nothing twice, and goes on with those that start later.
TEST(Opener, RemembersManySendersAndOpensNothingTwice) {
    const CHandOfClock clock;
    constexpr size_t kSenders = 1 << 17;
    COpener opener(Secret(), kFileUp);
    CSealer first(Secret(), kFileUp), sealer(Secret(), kFileUp);
    EXPECT_EQ(Open(opener, Sealed(first, "first")).outcome, SEAL_DONE);
    std::vector<std::string> frames;
    const std::string later = Sealed(first, "later");
    for (size_t i = 0; i < kSenders; ++i) {
        if (i % 4096 == 0) CHandOfClock::Move(1);
        CSealerState::Seem(sealer, seal::KeyID(1000000 + 1 + i / 4096, static_cast<uint32_t>(i)));
        frames.push_back(Sealed(sealer, "one"));
        ASSERT_EQ(Open(opener, frames.back()).outcome, SEAL_DONE) << i;
        if (i != 1000) continue;
        EXPECT_EQ(Open(opener, later).outcome, SEAL_DONE) << "its key was let go, but it is remembered";
        EXPECT_EQ(Open(opener, later).outcome, SEAL_REPEATED);
    }
    for (size_t i = 0; i < kSenders; i += 7) {
        const SealOutcome outcome = Open(opener, frames[i]).outcome;
        ASSERT_TRUE(outcome == SEAL_REPEATED || outcome == SEAL_FORGOTTEN) << i << ' ' << outcome;
    }
    EXPECT_EQ(Open(opener, Sealed(first, "forgotten")).outcome, SEAL_FORGOTTEN);
    EXPECT_GT(opener.GetCount(SEAL_REPEATED), 9000U);
    EXPECT_GT(opener.GetCount(SEAL_FORGOTTEN), 9000U);
    CSealer newcomer(Secret(), kFileUp);
    EXPECT_EQ(Open(opener, Sealed(newcomer, "hello")).outcome, SEAL_DONE);
    EXPECT_EQ(Open(opener, Sealed(sealer, "two")).outcome, SEAL_DONE) << "the latest of the many";
}

TEST(Opener, KnowsWhatItHasOpenedOfASenderWhoseKeyComesBack) {
    constexpr LumoSealStream stream{SEAL_AUDIO, SEAL_UP, 7};
    COpener opener(Secret(), stream);
    CSealer sealer(Secret(), stream);
    std::vector<std::string> frames;
    for (int i = 0; i < 4; ++i) frames.push_back(Sealed(sealer, "frame"));
    for (const size_t i : {0U, 2U}) EXPECT_EQ(Open(opener, frames[i]).outcome, SEAL_DONE);
    for (int i = 0; i < 64; ++i) {
        CSealer other(Secret(), stream);
        EXPECT_EQ(Open(opener, Sealed(other, "other")).outcome, SEAL_DONE);
    }
    EXPECT_EQ(Open(opener, frames[3]).outcome, SEAL_DONE);
    for (const std::string& frame : frames) EXPECT_EQ(Open(opener, frame).outcome, SEAL_REPEATED);
}

TEST(Opener, MemoryOfSendersIsBounded) {
    const CHandOfClock clock;
    seal::CPastSenders past(seal::Senders::Many, false);
    for (uint64_t i = 0; i < 3 * seal::CPastSenders::kMost; ++i) past.Remember(seal::KeyID(1000000, uint32_t(i)), 5);
    EXPECT_EQ(past.Size(), seal::CPastSenders::kMost);
    EXPECT_EQ(past.Judge({seal::KeyID(1000000, 0), 6, 0}), SEAL_FORGOTTEN) << "let go";
    EXPECT_EQ(past.Judge({seal::KeyID(1000000, 1U << 31), 6, 0}), SEAL_FORGOTTEN) << "cannot be told from it";
    EXPECT_EQ(past.Judge({seal::KeyID(1000001, 0), 6, 0}), SEAL_DONE);
}

TEST(Opener, ManyThreadsOpenAFrameOnce) {
    CSealer sealer(Secret(), kAudio);
    std::vector<std::string> frames;
    for (int i = 0; i < 1000; ++i) frames.push_back(Sealed(sealer, "frame"));
    COpener opener(Secret(), kAudio);
    const auto open = [&] {
        for (const std::string& frame : frames) Open(opener, frame);
    };
    std::thread other(open);
    open();
    other.join();
    EXPECT_EQ(opener.GetCount(SEAL_DONE), 1000U);
    EXPECT_EQ(opener.GetCount(SEAL_REPEATED), 1000U);
}

}  // namespace
