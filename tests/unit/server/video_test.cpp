// Video at the server: key frames are asked for and clear the way, over sessions, TCP and relays.
#include "server_host.h"

#include <gtest/gtest.h>

using session_wire::Ack;
using session_wire::Data;
using session_wire::U32;

namespace {

const std::string kZero(1, '\0');

class Video : public testing::Test, protected CServerHost {
protected:
    Video() : CServerHost(media::kVideo, [](CServerOptions& options) { options.limits.sinkQueueBytes = 100000; }) {}

    void Start(uint32_t sinkID, const CEndpointAddress& address) { Say(row.sink.keepAlive, sinkID, address); }
    /// A frame of at most 1040 bytes of Alice, who publishes.
    void Send(uint32_t source, const std::string& frame) {
        Say(row.source.frame, source, kAlice, Data(m_usNext++, frame));
        Take(kAlice);
    }
    /// Requests that have reached a peer since the last call, which acknowledges what comes.
    int Requests(const CEndpointAddress& address, uint8_t command, const std::string& answerHead) {
        int requests = 0;
        for (const std::string& one : Take(address)) {
            const std::string packet = Hex(one).substr(6);
            if (!one.starts_with(Code(command)) || !session_wire::IsData(packet)) continue;
            EXPECT_EQ(session_wire::Payload(packet), kZero);
            Deliver(answerHead + Ack(session_wire::Sequence(packet)), address);
            ++requests;
        }
        return requests;
    }
    /// Those that have reached Alice in so many ms.
    int Asked(uint32_t source, uint32_t milliseconds) {
        RunFor(milliseconds, 10);
        return Requests(kAlice, row.source.frameAck, Datagram(row, row.source.frame, {source}));
    }
    static std::string Key(size_t length) { return std::string(length, 'K'); }
    static std::string Delta(size_t length) { return std::string(length, '\0'); }

private:
    uint16_t m_usNext = 0;
};

TEST_F(Video, RequestsOfManyWithinAShortWhileAreOne) {
    const uint32_t source = Publish();
    std::vector<uint32_t> sinks;
    const auto address = [](uint32_t i) { return CEndpointAddress{0x0a000100 + i, 9}; };
    for (uint32_t i = 0; i < 10; ++i) sinks.push_back(Connect(LongRequest(100 + i, kChannel, {}), address(i)));
    const auto start = [&](uint32_t i) { Start(sinks[i], address(i)); };
    EXPECT_EQ(Asked(source, 10), 0);
    for (uint32_t i = 0; i < 5; ++i) start(i);
    EXPECT_EQ(Asked(source, 10), 1) << "at once, and once";
    for (uint32_t i = 5; i < 8; ++i) {
        start(i);
        EXPECT_EQ(Asked(source, 50), 0);
    }
    EXPECT_EQ(Asked(source, 100), 0) << "the one in flight serves them too";
    for (uint16_t i = 0; i < 100; ++i) {
        Say(row.sink.frameAck, sinks[0], address(0), Data(i, kZero));
        RunFor(1, 1);
    }
    EXPECT_EQ(Asked(source, 0), 1) << "a hundred within 100 ms";
    Asked(source, 200);
    start(8);
    EXPECT_EQ(Asked(source, 10), 1);
    Send(source, Key(10));
    start(9);
    EXPECT_EQ(Asked(source, 100), 0) << "too soon";
    EXPECT_EQ(Asked(source, 100), 1) << "but the last key frame was not for it";
    Say(row.sink.stop, sinks[9], address(9));
    start(9);
    Send(source, Key(10));
    EXPECT_EQ(Asked(source, 1000), 0) << "this one was";
}

// Its START may have been lost, and until the next one it sends nothing.
TEST_F(Video, APublisherIsAskedAgainWhenNoKeyFrameComesAndANewOneForWhoeverWaits) {
    uint32_t source = Publish();
    const uint32_t bob = Subscribe(9, kBob);
    EXPECT_EQ(Asked(source, 10), 1);
    Send(source, Delta(10));
    EXPECT_EQ(Asked(source, 1900), 0);
    EXPECT_EQ(Asked(source, 200), 1);
    Say(row.sink.stop, bob, kBob);
    EXPECT_EQ(Asked(source, 5000), 0) << "nobody watches";
    Start(bob, kBob);
    EXPECT_EQ(Asked(source, 10), 1);
    Send(source, Key(10));
    EXPECT_EQ(Asked(source, 5000), 0);

    Say(row.source.disconnect, source, kAlice);
    EXPECT_NE(Subscribe(10, kCarol), 0U);
    RunFor(2000, 10);
    Take(kAlice);
    source = Publish();
    EXPECT_EQ(Asked(source, 10), 1);
    Say(row.source.disconnect, source, kAlice);
    CFakeTcp* over = PublishTcp();
    ASSERT_TRUE(over);
    RunFor(300, 10);
    EXPECT_EQ(over->TakeFrames(), (Texts{"\4", "\6"})) << "the same over TCP";
}

TEST_F(Video, WhoIsOverItsLimitRecoversWithTheNextKeyFrameOrGoes) {
    const uint32_t source = Publish();
    Subscribe(9, kBob);  // and acknowledges nothing
    CFakeTcp* tcp = SubscribeTcp();
    ASSERT_TRUE(tcp);
    tcp->Hear("\4");
    const auto overrun = [&] {
        tcp->queuedBytes = 102001;  // a long frame more than the limit
        for (int i = 0; i < 120; ++i) Send(source, Delta(1000));
    };
    overrun();
    EXPECT_GT(Status().links.dropped, 120U) << "over TCP all, over UDP what came last";
    Asked(source, 5000);  // who publishes is not kept waiting
    EXPECT_EQ(SinkCount(), 2U) << "there is hope for a while";
    tcp->queuedBytes = 0;
    tcp->TakeSent();
    Send(source, Key(100));
    Send(source, Delta(100));
    EXPECT_EQ(Status().queuedBytes, 200U);
    EXPECT_EQ(tcp->TakeFrames(), (Texts{Key(100), Delta(100)}));
    RunFor(2000);
    overrun();
    RunFor(13000);
    EXPECT_EQ(SinkCount(), 0U) << "no key frame came";
    EXPECT_TRUE(tcp->released);
    const uint64_t dropped = Status().links.dropped;
    Say(row.source.disconnect, source, kAlice);
    RunFor(server::kChannelGoneAfterMs + 2000, 1000);
    EXPECT_EQ(Status().channels, 0U);
    EXPECT_EQ(Status().links.dropped, dropped) << "still counted when its channel is gone";
}

TEST_F(Video, AFarServerIsAskedAgainUntilAKeyFrameComes) {
    constexpr CEndpointAddress kFar{0x7f000009, 7005};
    Deliver(LongRequest(9, kChannel, {{kFar.ip, 0, 0}, kFar.port}), kBob);
    const uint32_t leg = LastID(kFar, row.sink.connect, 2);
    Say(row.sink.connectAck, leg, kFar, U32(600));
    RunFor(100, 10);
    const uint32_t bob = Connected(kBob);
    ASSERT_NE(bob, 0U);
    const std::string head = Datagram(row, row.sink.frame, {leg, 600});
    const auto asked = [&](uint32_t milliseconds) {
        std::vector<uint32_t> times;
        for (uint32_t passed = 10; passed <= milliseconds; passed += 10) {
            RunFor(10, 10);
            if (Requests(kFar, row.sink.frameAck, head) > 0) times.push_back(passed);
        }
        return times;
    };
    using Times = std::vector<uint32_t>;  // ms from the call
    Take(kFar);
    Start(bob, kBob);
    EXPECT_EQ(asked(1600), (Times{10, 510, 1010, 1510}));
    Deliver(head + Data(0, Delta(10)), kFar);
    EXPECT_EQ(asked(600), Times{410}) << "that was none";
    Take(kBob);
    Deliver(head + Data(1, Key(10)), kFar);
    EXPECT_EQ(asked(2000), Times());
    EXPECT_EQ(Status().relays, 1U);
    Take(kBob);
    Say(row.sink.frameAck, bob, kBob, Ack(0));
    EXPECT_EQ(TakeCount(kBob, row.sink.frame), 1U);
    Say(row.sink.stop, bob, kBob);
    Start(bob, kBob);
    EXPECT_EQ(asked(10), Times{10}) << "he lacks one again";
    Say(row.sink.stop, bob, kBob);
    EXPECT_EQ(asked(3000), Times()) << "none can come while nobody watches";
    Start(bob, kBob);
    EXPECT_EQ(asked(1200), (Times{10, 510, 1010}));
}

TEST_F(Video, APublisherThatNeverAcknowledgesIsNotAskedWithoutEnd) {
    Publish();
    const uint32_t bob = Subscribe(9, kBob);
    for (uint16_t i = 0; i < 1000; ++i) {
        Say(row.sink.frameAck, bob, kBob, Data(i, kZero));
        RunFor(210, 70);
    }
    EXPECT_LE(Status().queuedFrames, 1U);
}

}  // namespace
