// Audio at the server: publishers are started and stopped, subscribers over UDP and TCP, relaying.
#include "stream_host.h"

#include <gtest/gtest.h>

using session_wire::ReadU32;
using session_wire::U32;

namespace {

const std::string kStart(1, '\0');
const std::string kStop(1, '\1');

class Audio : public testing::Test, protected CStreamHost {
protected:
    Audio() : CStreamHost(media::kAudio) {}
};

TEST_F(Audio, APublisherIsToldHowManyListenOnEveryChangeAndEveryTwoSeconds) {
    host.Deliver(Hex("0012") + U32(kChannel) + U32(kKey), kAlice);
    const auto first = host.Take(kAlice);
    ASSERT_EQ(first.size(), 2U) << "acknowledged once";
    const std::string id = first[0].substr(12, 8);
    EXPECT_EQ(first[0], "001300000005" + id + "00000000");
    EXPECT_EQ(first[1], "001600000005") << "the question that validates it";
    EXPECT_EQ(Connect(kChannel, 9, kBob), 0U) << "nothing to hear yet";
    host.Deliver(Hex("0017" + id), kAlice);
    EXPECT_EQ(host.LastLine(), "audio source 10.0.0.1:1001 (udp) publishes channel 77");
    EXPECT_TRUE(host.Take(kAlice).empty());

    const uint32_t bob = Connect(kChannel, 9, kBob);
    EXPECT_TRUE(host.Take(kAlice).empty()) << "who has not started wants nothing";
    using Texts = std::vector<std::string>;
    Say(m_sink.keepAlive, bob, kBob);
    EXPECT_EQ(host.Take(kAlice), Texts{"00140000000500000001"});
    Say(m_sink.keepAlive, bob, kBob);
    EXPECT_TRUE(host.Take(kAlice).empty()) << "no news";
    const uint32_t carol = Listen(kChannel, 10, kCarol);
    EXPECT_EQ(host.Take(kAlice), Texts{"00140000000500000002"});
    host.Run(2300);  // the work of a second, twice
    EXPECT_EQ(host.Take(kAlice), Texts{"00140000000500000002"});
    Say(m_sink.stop, bob, kBob);
    EXPECT_EQ(host.Take(kAlice), Texts{"00140000000500000001"});
    Say(m_sink.disconnect, carol, kCarol);
    EXPECT_EQ(host.Take(kAlice), Texts{"001600000005"});
    host.Run(2300);  // the work of a second, twice
    EXPECT_EQ(host.Take(kAlice), Texts{"001600000005"});
    Say(m_sink.keepAlive, bob, kBob);
    host.Take(kAlice);
    host.server->Drain();
    EXPECT_EQ(host.Take(kAlice), Texts{"001600000005"}) << "the server ends";
}

TEST_F(Audio, FramesReachThoseWhoListenAndNobodyElse) {
    const uint32_t source = Publish(kChannel, kAlice);
    const uint32_t bob = Listen(kChannel, 9, kBob);
    Connect(kChannel, 10, kCarol);
    const auto heard = [&](const std::string& frame, const CEndpointAddress& from = kAlice) {
        Say(m_source.frame, source, from, frame);
        return host.TakeCount(kBob, "0002");
    };
    EXPECT_EQ(heard("frame"), 1U);
    EXPECT_EQ(host.TakeCount(kCarol, "0002"), 0U);
    EXPECT_EQ(heard("frame", kCarol), 0U) << "of somebody else";
    EXPECT_EQ(heard(std::string(1066, 'x')), 1U);
    EXPECT_EQ(heard(std::string(1067, 'x')), 0U);
    EXPECT_EQ(heard("22"), 0U);
    Say(m_sink.stop, bob, kCarol);
    EXPECT_EQ(heard("frame"), 1U) << "stopped by somebody else";
    Say(m_sink.stop, bob, kBob);
    EXPECT_EQ(heard("frame"), 0U);
    EXPECT_EQ(Status().traffic.framesIn, 4U);
    EXPECT_EQ(Status().traffic.framesOut, 3U);
    Say(m_source.disconnect, source, kAlice);
    EXPECT_EQ(host.LastLine(), "audio source 10.0.0.1:1001 (udp) left channel 77");
    EXPECT_EQ(Status().sinksUdp, 2U) << "its subscribers stay";
    Say(m_sink.keepAlive, bob, kBob);
    EXPECT_EQ(Publish(kChannel, kCarol) != 0 ? heard("frame") : 1U, 0U) << "the old ID is gone";
}

TEST_F(Audio, OverTcpPublishersAndSubscribersSayItWithControlBytes) {
    CFakeTcp* source = host.Validate(2, U32(kChannel));
    ASSERT_TRUE(source);
    EXPECT_EQ(source->sent.at(0).bytes, Hex("00000002 00000004") + U32(kChannel));
    EXPECT_EQ(Frames(*source), std::vector<std::string>{kStop}) << "nobody listens";
    for (const size_t length : {0U, 4U, 16U, 21U, 23U}) EXPECT_FALSE(host.Validate(3, std::string(length, 'x')));
    CFakeTcp* sink = host.Validate(3, TcpRequest(0, 0));
    ASSERT_TRUE(sink);
    EXPECT_EQ(sink->sent.at(0).bytes.substr(0, 12), Hex("00000003 00000008") + U32(kChannel));
    EXPECT_NE(ReadU32(sink->sent.at(0).bytes, 12), 0U);
    sink->TakeSent();
    EXPECT_TRUE(Frames(*source).empty());

    FromPeer(*source, "early");
    EXPECT_TRUE(Frames(*sink).empty());
    FromPeer(*sink, kStart);
    EXPECT_EQ(Frames(*source), std::vector<std::string>{kStart});
    FromPeer(*source, "frame");
    EXPECT_EQ(Frames(*sink), std::vector<std::string>{"frame"});
    for (int i = 0; i < 1000; ++i) FromPeer(*sink, i % 2 ? kStart : std::string(1, '\2'));
    FromPeer(*source, kStart);
    FromPeer(*source, std::string(1 << 20, 'x'));
    EXPECT_TRUE(Frames(*source).empty()) << "nothing of that is news";
    EXPECT_TRUE(Frames(*sink).empty()) << "neither a keep-alive nor a megabyte is passed on";
    EXPECT_EQ(source->maxReceivedFrame, 1U << 20);
    EXPECT_EQ(sink->maxReceivedFrame, 1U << 20);
    host.Run(12200);  // the work of a second, eleven times
    EXPECT_EQ(Frames(*source), std::vector<std::string>{kStart}) << "the idle server says it again";
    source->queued = 5;
    FromPeer(*sink, kStop);
    EXPECT_EQ(Frames(*source), std::vector<std::string>{kStop});
    EXPECT_EQ(source->queued, 0U) << "one who reads nothing is not told everything that was";
    FromPeer(*sink, kStart);
    Frames(*source);
    sink->lost = true;
    host.Run(2000);
    EXPECT_EQ(Frames(*source), std::vector<std::string>{kStop}) << "who wanted it has gone";
    EXPECT_EQ(Status().sinksTcp, 0U);
    EXPECT_FALSE(host.Validate(2, U32(kChannel))) << "the place is taken";
}

TEST_F(Audio, ASlowTcpSubscriberIsLetGoAndHoldsNobodyUp) {
    const uint32_t source = Publish(kChannel, kAlice);
    CFakeTcp* slow = host.Validate(3, TcpRequest(0, 0));
    ASSERT_TRUE(slow);
    FromPeer(*slow, kStart);
    EXPECT_EQ(slow->maxAge, 1000U) << "what waits longer is dropped";
    Listen(kChannel, 9, kBob);
    slow->queued = 520000;  // with 2 bytes in each
    slow->queuedBytes = 1 << 20;
    Say(m_source.frame, source, kAlice, "frame");
    EXPECT_EQ(host.TakeCount(kBob, "0002"), 1U);
    host.Run(2000);
    EXPECT_TRUE(slow->released);
    EXPECT_EQ(Status().sinksTcp, 0U);
}

TEST_F(Audio, AChannelAtAnotherServerIsFetchedOnceAndOnlyWhileItIsWanted) {
    for (const std::string& refused : {LongConnect(9, 0, 7005), LongConnect(9, kFar.ip, 0), LongConnect(9, 1, 7005)})
        host.Deliver(refused, kBob);
    EXPECT_TRUE(host.net.Udp().TakeSent().empty()) << "nowhere to fetch it from";
    host.Deliver(LongConnect(9, kFar.ip, kFar.port), kBob);
    auto asked = host.net.Udp().TakeSent();
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(asked[0].ip, kFar.ip);
    EXPECT_EQ(asked[0].port, kFar.port) << "the port that the request names";
    EXPECT_EQ(asked[0].bytes.substr(6), U32(kChannel) + std::string(18, '\0')) << "on nobody's behalf, no further";
    const std::string leg = asked[0].bytes.substr(2, 4);
    host.Deliver(LongConnect(10, kFar.ip, kFar.port), kCarol);
    EXPECT_TRUE(host.Take(kFar).empty()) << "once for all";

    host.Deliver(Hex("0001") + leg + U32(600), kFar);
    host.Run(100);
    const uint32_t bob = host.LastID(kBob, "0001", 6);
    ASSERT_NE(bob, 0U);
    Say(m_sink.keepAlive, bob, kBob);
    host.Take(kBob);
    host.Deliver(Hex("0002") + leg + U32(600) + "frame", kFar);
    EXPECT_EQ(host.TakeCount(kBob, "0002"), 1U);
    host.Take(kFar);
    host.Run(2000);
    EXPECT_EQ(host.TakeCount(kFar, "0006"), 0U);
    Say(m_sink.stop, bob, kBob);
    host.Run(100);
    EXPECT_EQ(host.TakeCount(kFar, "0006"), 2U) << "nobody wants it at the moment";
    Say(m_sink.keepAlive, bob, kBob);
    host.Run(100);
    EXPECT_EQ(host.TakeCount(kFar, "0004"), 2U);
}

}  // namespace
