// Who becomes wide, and that nobody else notices.
#include "sim/wide_end.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace sim;

namespace {

constexpr int kExtension = CWideEnd::kEnvelope + 4;  // bytes 4 to 11 of the header

bool IsData(const std::string& datagram) {
    return (datagram[CWideEnd::kEnvelope + 2] & 0x1F) == session::SCTP_CMD_DATA;
}

std::string Extension(const std::string& datagram) { return datagram.substr(kExtension, 8); }

std::string WithExtension(std::string datagram, const std::string& bytes) {
    return datagram.replace(kExtension, 8, bytes);
}

PathTraits Lossy() {
    PathTraits traits;
    traits.megabits = 10;
    traits.delayUs = 20000;
    traits.loss = 0.05;
    return traits;
}

std::vector<std::string> Frames() {
    CRandom random(7);
    std::vector<std::string> frames;
    for (const size_t length : {1U, 1040U, 1041U, 30000U, 5000U, 100000U, 20U}) frames.push_back(random.Bytes(length));
    return frames;
}

/// Frames from left to right and one back, and what was on the wire meanwhile.
struct Exchange {
    using Change = std::function<std::string(const std::string& datagram, bool rightward)>;

    Exchange(bool leftWide, bool rightWide, const Change& change = nullptr) {
        wide::SetWanted(leftWide);
        events = std::make_unique<CEvents>();
        out = std::make_unique<CPath>(*events, random, Lossy());
        home = std::make_unique<CPath>(*events, random, Lossy());
        left = std::make_unique<CWideEnd>(*events, *out);
        wide::SetWanted(rightWide);
        right = std::make_unique<CWideEnd>(*events, *home);
        wide::SetWanted(false);
        const auto carry = [this, change](CWideEnd& to, bool rightward) {
            return [this, change, &to, rightward](const std::string& datagram) {
                Note(datagram);
                to.Hear(change ? change(datagram, rightward) : datagram);
            };
        };
        out->receiver = carry(*right, true);
        home->receiver = carry(*left, false);
        right->onFrame = [this](const std::string& frame) { received.push_back(frame); };
        for (const std::string& frame : Frames()) left->Queue(frame);
        right->Queue("back");
        events->RunFor(8 * kSecond);
    }

    void Note(const std::string& datagram) {
        EXPECT_GE(datagram.size(), size_t{kExtension + 8});
        wire.push_back(std::to_string(CEvents::Elapsed()) + ' ' + datagram);
        if (IsData(datagram)) return;
        const auto flags = static_cast<unsigned char>(datagram[CWideEnd::kEnvelope + 2]);
        EXPECT_EQ(flags & 0xDF, 1) << "an acknowledgement stays one";
        wideAcks += datagram.size() > size_t{kExtension + 8};
    }
    std::vector<std::string> WireWithoutExtensions() const {
        std::vector<std::string> bare;
        for (const std::string& one : wire) {
            const size_t text = one.find(' ') + 1;
            bare.push_back(one.substr(0, text) + WithExtension(one.substr(text), std::string(8, '\0')));
        }
        return bare;
    }

    CRandom random{11};
    std::unique_ptr<CEvents> events;
    std::unique_ptr<CPath> out, home;
    std::unique_ptr<CWideEnd> left, right;
    std::vector<std::string> received, wire;
    uint64_t wideAcks = 0;
};

uint64_t Digest(const std::vector<std::string>& texts) {
    uint64_t digest = 14695981039346656037U;
    for (const std::string& text : texts)
        for (const char c : text) digest = (digest ^ static_cast<unsigned char>(c)) * 1099511628211U;
    return digest;
}

TEST(WideAgreement, WhereNobodyAsksEveryByteAndTimeIsAsGiven) {
    const Exchange given(false, false);
    EXPECT_EQ(given.received, Frames());
    EXPECT_EQ(given.wire.size(), 274U);
    EXPECT_EQ(Digest(given.wire), 15823976298735214786U);
}

// What a side that wants to be wide says to one that does not: eight bytes, nothing else.
TEST(WideAgreement, TowardsOneThatDoesNotAnswerOnlyTheOfferDiffers) {
    const std::vector<std::string> given = Exchange(false, false).wire;
    for (const bool leftWide : {true, false}) {
        const Exchange one(leftWide, !leftWide);
        EXPECT_EQ(one.received, Frames());
        EXPECT_EQ(one.WireWithoutExtensions(), given);
        EXPECT_EQ(one.wideAcks, 0U);
        EXPECT_FALSE(one.left->session.IsWideSending() || one.right->session.IsWideSending());
    }
}

// A given peer may leave in bytes 4 to 11 whatever its memory holds.
TEST(WideAgreement, WhatAGivenPeerLeavesInItsHeadersIsNoOffer) {
    const std::vector<std::string> given = Exchange(false, false).wire;
    CRandom random(3);
    std::string last(8, 'x');
    const auto randomBytes = [&](const std::string& datagram, bool rightward) {
        return rightward ? datagram : WithExtension(datagram, random.Bytes(8));
    };
    const auto echo = [&](const std::string& datagram, bool rightward) {
        if (rightward) last = Extension(datagram);
        return rightward ? datagram : WithExtension(datagram, last);
    };
    for (const Exchange::Change& change : {Exchange::Change(randomBytes), Exchange::Change(echo)}) {
        const Exchange one(true, false, change);
        EXPECT_EQ(one.received, Frames());
        EXPECT_FALSE(one.left->session.IsWideSending());
        EXPECT_EQ(one.wideAcks, 0U);
        EXPECT_EQ(one.WireWithoutExtensions(), given);
    }
}

TEST(WideAgreement, BothDirectionsAgreeByThemselves) {
    const Exchange both(true, true);
    EXPECT_EQ(both.received, Frames());
    EXPECT_GT(both.wideAcks, 0U);
    EXPECT_TRUE(both.left->session.IsWideSending());
    EXPECT_FALSE(both.right->session.IsWideSending()) << "one packet offers on one sequence";
}

// Another version, an offer with another sequence's check, an answer that nobody asked for, another's answer.
TEST(WideAgreement, WhatIsNotQuiteAnOfferOrAnswerIsNone) {
    char packet[session::kHeaderLen] = {0, 5, 0, 0};
    const uint32_t token = 0x51A3C7E9;  // by chance a changed byte agrees with the check of one in some hundred
    wide::WriteOffer(packet, token);
    EXPECT_EQ(wide::ReadOffer(packet), token);
    EXPECT_FALSE(wide::IsAnswer(packet, token));
    for (const int byte : {1, 2, 4, 5, 6, 7, 8, 9, 10, 11}) {
        packet[byte] = static_cast<char>(packet[byte] ^ 4);
        EXPECT_NE(wide::ReadOffer(packet), token) << byte;
        packet[byte] = static_cast<char>(packet[byte] ^ 4);
    }
    wide::WriteAnswer(packet, token);
    EXPECT_TRUE(wide::IsAnswer(packet, token));
    EXPECT_FALSE(wide::IsAnswer(packet, token + 1));
    EXPECT_FALSE(wide::IsAnswer(packet, 0));
    EXPECT_EQ(wide::ReadOffer(packet), 0U);

    wide::CAgreement agreement;
    agreement.Open();
    agreement.Offer(packet);
    EXPECT_FALSE(agreement.OnGivenPacket(packet, 5));
    packet[1] = 6;
    agreement.Offer(packet);
    EXPECT_FALSE(agreement.OnGivenPacket(packet, 6)) << "an echo";
    wide::WriteOffer(packet, token);
    EXPECT_FALSE(agreement.OnGivenPacket(packet, 6));
    EXPECT_FALSE(agreement.OnGivenPacket(packet, 6)) << "the same packet again";
    packet[1] = 7;
    wide::WriteOffer(packet, token);
    EXPECT_TRUE(agreement.OnGivenPacket(packet, 7));
    EXPECT_EQ(agreement.FarToken(), token);
}

// Offers and answers get lost like everything; whoever opens again draws another token, and the old one counts no more.
TEST(WideAgreement, SurvivesLossesAndStartsAnew) {
    const CWideSessions wide;
    PathTraits path = Lossy();
    path.loss = 0.2;
    WidePair pair(path);
    pair.left.Fill(5000, 200);
    pair.right.Fill(5000, 200);
    pair.events.RunFor(30 * kSecond);
    EXPECT_EQ(pair.right.framesReceived, 200U);
    EXPECT_EQ(pair.left.framesReceived, 200U);
    EXPECT_TRUE(pair.left.session.IsWideSending() && pair.right.session.IsWideSending());
    for (CWideEnd* end : {&pair.left, &pair.right}) {
        end->session.CloseSession();
        EXPECT_TRUE(end->session.IsSendIdle());
        EXPECT_TRUE(end->session.OpenSession());
        EXPECT_FALSE(end->session.IsWideSending());
    }
    pair.left.Fill(5000, 200);
    pair.events.RunFor(30 * kSecond);
    EXPECT_EQ(pair.right.framesReceived, 400U);
    EXPECT_TRUE(pair.left.session.IsWideSending());
}

// Whoever opens later than its sender counts from a later sequence 0.
TEST(WideAgreement, ALateReceiverLearnsTheUpperHalf) {
    const CWideSessions wide;
    PathTraits path;
    path.megabits = 1000;
    path.delayUs = 50;
    WidePair pair(path);
    pair.out.receiver = [](const std::string&) {};  // nobody listens yet, and a given peer acknowledges
    uint64_t acknowledged = 0;
    const auto acknowledge = [&](const std::string& datagram) {
        if (!IsData(datagram)) return;
        std::string ack(CWideEnd::kEnvelope + session::kHeaderLen, '\0');
        ack.replace(CWideEnd::kEnvelope, 2, datagram, CWideEnd::kEnvelope, 2);
        ack[CWideEnd::kEnvelope + 2] = 0x21;
        ++acknowledged;
        pair.events.At(CEvents::Now(), [&pair, ack] { pair.left.Hear(ack); });
    };
    pair.out.receiver = acknowledge;
    pair.left.Fill(64 * 1040, 1024);  // 65,536 packets
    pair.events.RunFor(60 * kSecond);
    ASSERT_EQ(acknowledged, 65536U);
    pair.out.receiver = [&](const std::string& datagram) { pair.right.Hear(datagram); };
    pair.left.Fill(64 * 1040, 50);
    pair.events.RunFor(5 * kSecond);
    EXPECT_EQ(pair.right.framesReceived, 50U);
    EXPECT_TRUE(pair.left.session.IsWideSending());
}

}  // namespace
