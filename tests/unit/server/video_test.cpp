// Video at the server: key frames are asked for and clear the way, over sessions, TCP and relays.
#include "stream_host.h"

#include <gtest/gtest.h>

using session_wire::Ack;
using session_wire::Data;
using session_wire::U32;

namespace {

const std::string kStart(1, '\4');
const std::string kStop(1, '\5');
const std::string kRequest(1, '\6');
const std::string kZero(1, '\0');

CServerOptions SmallQueues() {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.sinkQueueBytes = 100000;
    return options;
}

class Video : public testing::Test, protected CStreamHost {
protected:
    Video() : CStreamHost(media::kVideo, SmallQueues()) {}

    /// A frame of at most 1040 bytes of Alice, who publishes.
    void Send(uint32_t source, const std::string& frame) {
        Say(m_source.frame, source, kAlice, Data(m_usNext++, frame));
        host.Take(kAlice);
    }
    /// Requests that have reached Alice since the last call; she acknowledges what comes.
    int Asked(uint32_t source) {
        int asked = 0;
        for (const std::string& one : host.Take(kAlice)) {
            if (one.compare(0, 12, "012200000005") != 0) continue;
            const std::string packet = Hex(one.substr(12));
            if (!session_wire::IsData(packet)) continue;
            EXPECT_EQ(session_wire::Payload(packet), kZero);
            Say(m_source.frame, source, kAlice, Ack(session_wire::Sequence(packet)));
            ++asked;
        }
        return asked;
    }
    static std::string Key(size_t length) { return std::string(length, 'K'); }
    static std::string Delta(size_t length) { return std::string(length, '\0'); }

private:
    uint16_t m_usNext = 0;
};

TEST_F(Video, FramesGoThroughSessionsBothWays) {
    const uint32_t source = Publish(kChannel, kAlice);
    const uint32_t bob = Listen(kChannel, 9, kBob);
    host.Take(kAlice);
    Say(m_source.frame, source, kAlice, Data(0, Key(100)));
    EXPECT_EQ(host.Take(kAlice).back(), ToHex(Hex("0122") + U32(kKey) + session_wire::Packet(0, 0x21, 31 << 3, "")))
        << "with the widest window that can be said";
    EXPECT_EQ(host.Take(kBob), std::vector<std::string>{ToHex(Hex("010f") + U32(9) + U32(bob) + Data(0, Key(100)))});
    Say(m_source.frame, source, kAlice, Data(1, Key(3)));
    Say(m_sink.frameAck, bob, kBob, Ack(0));
    EXPECT_EQ(TakeFrames(kBob), 0U);
    Say(m_source.frame, source, kCarol, Data(2, Key(100)));
    EXPECT_EQ(TakeFrames(kBob), 0U) << "of somebody else";
    host.Take(kAlice);
    Say(m_sink.disconnect, bob, kBob);
    EXPECT_EQ(host.Take(kAlice), std::vector<std::string>{"011f00000005"});
}

// Times in ms since the stream began; what is asked by then.
TEST_F(Video, RequestsOfManyWithinAShortWhileAreOne) {
    const uint32_t source = Publish(kChannel, kAlice);
    std::vector<uint32_t> sinks;
    for (uint32_t i = 0; i < 10; ++i) sinks.push_back(Connect(kChannel, 100 + i, {0x0a000100 + i, 9}));
    const auto start = [&](uint32_t i) { Say(m_sink.keepAlive, sinks[i], {0x0a000100 + i, 9}); };
    const auto turn = [&](uint32_t milliseconds) {
        host.Run(milliseconds, 10);
        return Asked(source);
    };
    EXPECT_EQ(turn(10), 0);
    for (uint32_t i = 0; i < 5; ++i) start(i);
    EXPECT_EQ(turn(10), 1) << "at once, and once";
    for (uint32_t i = 5; i < 8; ++i) {
        start(i);
        EXPECT_EQ(turn(50), 0);
    }
    EXPECT_EQ(turn(100), 0) << "the one in flight serves them too";
    for (int i = 0; i < 100; ++i) {
        Say(m_sink.frameAck, sinks[0], {0x0a000100, 9}, Data(static_cast<uint16_t>(i), kZero));
        host.Run(1, 1);
    }
    EXPECT_EQ(Asked(source), 1) << "a hundred within 100 ms";
    turn(200);
    start(8);
    EXPECT_EQ(turn(10), 1);
    Send(source, Key(10));
    start(9);
    EXPECT_EQ(turn(100), 0) << "too soon";
    EXPECT_EQ(turn(100), 1) << "but the last key frame was not for it";
    Say(m_sink.stop, sinks[9], {0x0a000109, 9});
    start(9);
    Send(source, Key(10));
    EXPECT_EQ(turn(1000), 0) << "this one was";
}

TEST_F(Video, ANewPublisherIsAskedForWhoeverWaits) {
    uint32_t source = Publish(kChannel, kAlice);
    Listen(kChannel, 9, kBob);
    host.Run(10, 10);
    EXPECT_EQ(Asked(source), 1);
    Say(m_source.disconnect, source, kAlice);
    const uint32_t carol = Listen(kChannel, 10, kCarol);
    EXPECT_NE(carol, 0U);
    host.Run(2000, 10);
    host.Take(kAlice);
    source = Publish(kChannel, kAlice);
    host.Run(10, 10);
    EXPECT_EQ(Asked(source), 1);

    Say(m_source.disconnect, source, kAlice);
    CFakeTcp* over = host.Validate(7, U32(kChannel));
    ASSERT_TRUE(over);
    host.Run(300, 10);
    EXPECT_EQ(Frames(*over), (std::vector<std::string>{kStart, kRequest})) << "the same over TCP";
}

// Its START may have been lost, and until the next one it sends nothing.
TEST_F(Video, APublisherIsAskedAgainWhenNoKeyFrameComes) {
    const uint32_t source = Publish(kChannel, kAlice);
    const uint32_t bob = Listen(kChannel, 9, kBob);
    host.Run(10, 10);
    EXPECT_EQ(Asked(source), 1);
    Send(source, Delta(10));
    host.Run(1900, 10);
    EXPECT_EQ(Asked(source), 0);
    host.Run(200, 10);
    EXPECT_EQ(Asked(source), 1);
    Say(m_sink.stop, bob, kBob);
    host.Run(5000, 10);
    EXPECT_EQ(Asked(source), 0) << "nobody watches";
    Say(m_sink.keepAlive, bob, kBob);
    host.Run(10, 10);
    EXPECT_EQ(Asked(source), 1);
    Send(source, Key(10));
    host.Run(5000, 10);
    EXPECT_EQ(Asked(source), 0);
}

TEST_F(Video, OverTcpControlBytesAskAndAKeyFrameClearsTheWay) {
    CFakeTcp* source = host.Validate(7, U32(kChannel));
    ASSERT_TRUE(source);
    EXPECT_EQ(Frames(*source), std::vector<std::string>{kStop}) << "nobody watches";
    for (const size_t length : {0U, 4U, 16U, 21U, 23U}) EXPECT_FALSE(host.Validate(8, std::string(length, 'x')));
    CFakeTcp* sink = host.Validate(8, TcpRequest(0, 0));
    ASSERT_TRUE(sink);
    EXPECT_EQ(sink->sent.at(0).bytes.substr(0, 12), Hex("00000008 00000008") + U32(kChannel));
    sink->TakeSent();
    for (const std::string& foreign : {kZero, std::string("\1"), std::string("\4\4"), std::string(1 << 20, '\4')})
        FromPeer(*sink, foreign);
    host.Run(300, 10);
    EXPECT_TRUE(Frames(*source).empty()) << "what other media say, and what is no control byte";
    FromPeer(*sink, kStart);
    host.Run(10, 10);
    EXPECT_EQ(Frames(*source), (std::vector<std::string>{kStart, kRequest}));
    FromPeer(*source, Key(4));
    host.Run(300, 10);
    FromPeer(*sink, kRequest);
    host.Run(10, 10);
    EXPECT_EQ(Frames(*source), std::vector<std::string>{kRequest});
    Frames(*sink);

    sink->queued = 5;
    FromPeer(*source, Key(3));
    FromPeer(*source, Delta(4));
    EXPECT_EQ(sink->queued, 5U);
    FromPeer(*source, Key(4));
    EXPECT_EQ(sink->queued, 0U);
    EXPECT_EQ(Frames(*sink), (std::vector<std::string>{Delta(4), Key(4)}));
    FromPeer(*sink, kStop);
    EXPECT_EQ(Frames(*source), std::vector<std::string>{kStop});
}

TEST_F(Video, WhoIsOverItsLimitRecoversWithTheNextKeyFrameOrGoes) {
    const uint32_t source = Publish(kChannel, kAlice);
    const uint32_t slow = Listen(kChannel, 9, kBob);
    const uint32_t quick = Listen(kChannel, 10, kCarol);
    CFakeTcp* tcp = host.Validate(8, TcpRequest(0, 0));
    ASSERT_TRUE(tcp);
    FromPeer(*tcp, kStart);
    uint16_t acknowledged = 0;
    const auto send = [&](const std::string& frame) {
        Send(source, frame);
        EXPECT_EQ(TakeFrames(kCarol), 1U) << "a slow one holds nobody up";
        Say(m_sink.frameAck, quick, kCarol, Ack(acknowledged++));
    };
    send(Delta(100));
    for (int round = 0; round < 3; ++round) {
        const uint64_t dropped = Status().links.dropped;
        tcp->queuedBytes = 102001;  // a long frame more than the limit
        for (int i = 0; i < 110; ++i) send(Delta(1000));
        EXPECT_GT(Status().links.dropped, dropped + 110) << "over TCP all, over UDP what came last";
        host.Run(5000);
        Asked(source);  // is not kept waiting
        EXPECT_EQ(Status().sinksUdp + Status().sinksTcp, 3U) << "there is hope for a while";
        EXPECT_GT(Status().queuedBytes, 190000U);
        EXPECT_LT(Status().queuedBytes, 210000U);
        tcp->queuedBytes = 0;
        Frames(*tcp);
        send(Key(100));
        send(Delta(100));
        EXPECT_EQ(Status().queuedBytes, 200U);
        EXPECT_EQ(Frames(*tcp), (std::vector<std::string>{Key(100), Delta(100)}));
        host.Run(2000);
    }
    for (int i = 0; i < 120; ++i) send(Delta(1000));
    tcp->queuedBytes = 102001;  // a long frame more than the limit
    send(Delta(1000));
    host.Run(13000);
    EXPECT_EQ(Status().sinksUdp, 1U) << "no key frame came";
    EXPECT_TRUE(tcp->released);
    Say(m_sink.keepAlive, slow, kBob);
    EXPECT_TRUE(host.Take(kBob).empty() || TakeFrames(kBob) == 0U);
    send(Key(100));
}

TEST_F(Video, AFarServerIsAskedAgainUntilAKeyFrameComes) {
    host.Deliver(LongConnect(9, kFar.ip, kFar.port), kBob);
    const auto connect = host.net.Udp().TakeSent();
    ASSERT_EQ(connect.size(), 1U);
    EXPECT_EQ(connect[0].bytes.substr(6), U32(kChannel) + std::string(18, '\0')) << "on nobody's behalf, no further";
    const std::string leg = connect[0].bytes.substr(2, 4);
    host.Deliver(Hex("010a") + leg + U32(600), kFar);
    host.Run(100, 10);
    const uint32_t bob = Connected(kBob);
    ASSERT_NE(bob, 0U);
    host.Take(kFar);
    std::vector<uint32_t> askedAt;
    std::vector<uint16_t> sequences;
    const auto run = [&](uint32_t milliseconds) {
        for (uint32_t i = 0; i < milliseconds; i += 10) {
            host.Run(10, 10);
            for (const std::string& one : host.Take(kFar)) {
                const std::string packet = Hex(one.substr(12));
                if (one.compare(0, 12, "011000000258") != 0 || !session_wire::IsData(packet)) continue;
                askedAt.push_back(host.clock.Now());
                EXPECT_EQ(session_wire::Payload(packet), kZero);
                host.Deliver(Hex("010f") + leg + U32(600) + Ack(session_wire::Sequence(packet)), kFar);
            }
        }
    };
    Say(m_sink.keepAlive, bob, kBob);
    run(1600);
    ASSERT_EQ(askedAt.size(), 4U) << "at once, and every half second";
    for (size_t i = 1; i < askedAt.size(); ++i) EXPECT_EQ(askedAt[i] - askedAt[i - 1], 500U);
    host.Deliver(Hex("010f") + leg + U32(600) + Data(0, Delta(10)), kFar);
    run(600);
    EXPECT_EQ(askedAt.size(), 5U) << "that was none";
    host.Take(kBob);
    host.Deliver(Hex("010f") + leg + U32(600) + Data(1, Key(10)), kFar);
    run(2000);
    EXPECT_EQ(askedAt.size(), 5U);
    EXPECT_EQ(Status().relays, 1U);
    host.Take(kBob);
    Say(m_sink.frameAck, bob, kBob, Ack(0));
    EXPECT_EQ(TakeFrames(kBob), 1U);
    Say(m_sink.stop, bob, kBob);
    Say(m_sink.keepAlive, bob, kBob);
    run(10);
    EXPECT_EQ(askedAt.size(), 6U) << "he lacks one again";
    Say(m_sink.stop, bob, kBob);
    run(3000);
    EXPECT_EQ(askedAt.size(), 6U) << "none can come while nobody watches";
    Say(m_sink.keepAlive, bob, kBob);
    run(1200);
    EXPECT_EQ(askedAt.size(), 9U);
}

TEST_F(Video, ATcpSubscriberIsRelayedOverTcp) {
    CFakeTcp* sink = host.Validate(8, TcpRequest(kFar.ip, kFar.port));
    ASSERT_TRUE(sink);
    CFakeTcp& leg = host.net.LastClient();
    leg.clientNotify->OnTcpClientNotifyConnected();
    EXPECT_EQ(leg.TakeSent().at(0).bytes, Hex("00000008 00000016") + U32(kChannel) + std::string(18, '\0'));
    FromPeer(*sink, kStart);
    host.Run(1000, 10);
    EXPECT_TRUE(Frames(leg).empty()) << "not there yet";
    EXPECT_TRUE(leg.clientNotify->OnTcpClientNotifyValidate(8, (U32(kChannel) + U32(600)).data(), 8));
    host.Run(490, 10);
    EXPECT_EQ(Frames(leg), (std::vector<std::string>{kStart, kRequest}));
    sink->TakeSent();
    leg.clientNotify->OnTcpClientNotifyReceivedFrame(Key(4).data(), 4);
    host.Run(1000, 10);
    EXPECT_EQ(Frames(*sink), std::vector<std::string>{Key(4)});
    EXPECT_TRUE(Frames(leg).empty());
}

TEST_F(Video, APublisherThatNeverAcknowledgesIsNotAskedWithoutEnd) {
    Publish(kChannel, kAlice);
    const uint32_t bob = Listen(kChannel, 9, kBob);
    for (uint16_t i = 0; i < 1000; ++i) {
        Say(m_sink.frameAck, bob, kBob, Data(i, kZero));
        host.Run(210, 70);
    }
    EXPECT_LE(Status().queuedFrames, 1U);
}

}  // namespace
