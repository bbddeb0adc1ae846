// What the local MCU does for subscribers of every medium, and what becomes of channels.
#include "support/medium_scene.h"

using session_wire::ReadU32;
using session_wire::U32;

namespace {

class MediumSinks : public MediumScene {};

TEST_P(MediumSinks, AreMadeOnceAndAnswerWhereTheyFirstAskedFrom) {
    const CSinkRow& sink = Row().sink;
    host.Deliver(Request(5));
    const auto acks = host.TakeSent();
    ASSERT_EQ(acks.size(), 2U);
    const uint32_t id = ReadU32(acks[0].bytes, 6);
    const auto answers = [&](const std::string& said, uint8_t answer, size_t times) {
        host.Deliver(said, 99, 99);
        ExpectSent(Say(answer, {5, id}), times);
    };
    EXPECT_EQ(acks[0].bytes, Say(sink.connectAck, {5, id}));
    answers(Request(5), sink.connectAck, 2);
    answers(Say(sink.keepAlive, {id}), sink.keepAliveAck, GetParam().keepAliveAcks);
    if (Row().Stops()) answers(Say(sink.stop, {id}), sink.stopAck, GetParam().keepAliveAcks);
    EXPECT_EQ(app->SinkCount(), 1U);
    EXPECT_NE(ConnectSink(6), id);
    EXPECT_EQ(app->SinkCount(), 2U);
    host.Deliver(Say(sink.disconnect, {id}));
    EXPECT_EQ(app->SinkCount(), 1U);
}

TEST_P(MediumSinks, AreNotMadeByWhatIsMeantForServers) {
    const CSourceRow& source = Row().source;
    const std::string zeros(12, '\0');
    host.Deliver(Request(6, 78));
    host.Deliver(Request(6) + zeros);
    host.Deliver(Request(6) + zeros + U32(0).substr(2));
    host.Deliver(Say(Row().sink.keepAlive, {1}));
    for (const uint8_t code : {source.connect, source.frame, source.keepAliveAck, source.stopAck, source.disconnect})
        for (const std::string& rest : {std::string(), U32(1), zeros}) host.Deliver(Say(code, {kChannelID}, rest));
    EXPECT_TRUE(host.TakeSent().empty());
    EXPECT_EQ(app->SinkCount(), 0U);
}

TEST_P(MediumSinks, GoWithTheSweepWhenTheyAreSilent) {
    EXPECT_FALSE(app->IsEmpty()) << "never had a sink";
    const uint32_t kept = ConnectSink(5);
    ConnectSink(6);
    host.clock.Advance(100000);
    host.Deliver(Say(Row().sink.keepAlive, {kept}));
    host.clock.Advance(80000);
    host.manager->RunTurn();
    EXPECT_EQ(app->SinkCount(), 2U) << "not more than 180 s yet";
    host.clock.Advance(1001);
    host.manager->RunTurn();
    EXPECT_EQ(app->SinkCount(), 1U);
    EXPECT_FALSE(app->IsSinkDisconnected(kept));
    EXPECT_FALSE(app->IsEmpty());
    app->EndAllSinks();
    EXPECT_TRUE(app->IsEmpty());
}

TEST_P(MediumSinks, OverTcpAskWithTheShortValidationOfTheirOwnService) {
    const wire::TcpType service = Row().tcp.receiver;
    for (uint32_t type = 0; type <= 100; ++type) {
        const bool own = type == static_cast<uint32_t>(service);
        EXPECT_TRUE(own || !Serve(wire::TcpType{type}, U32(kChannelID))) << type;
    }
    const std::string long12(12, '\0');
    for (const std::string& refused : {std::string(), U32(kChannelID).substr(1), U32(kChannelID) + "x", U32(78),
                                       U32(kChannelID) + long12, U32(kChannelID) + long12 + "xx"})
        EXPECT_FALSE(Serve(service, refused)) << ToHex(refused);
    host.net.TcpServer().agrees = false;
    EXPECT_FALSE(Serve(service, U32(kChannelID)));
    host.net.TcpServer().agrees = true;
    EXPECT_EQ(app->SinkCount(), 0U);
    const bool served = !Row().Stops();  // streams of peers go over UDP alone
    EXPECT_EQ(Serve(service, U32(kChannelID)), served);
    const auto answer = host.net.sessions.back()->TakeSent();
    ASSERT_EQ(answer.size(), served ? 1U : 0U);
    if (!served) return;
    EXPECT_EQ(answer[0].mode, 1);
    EXPECT_EQ(answer[0].bytes, Validation(service, U32(kChannelID)));
    EXPECT_EQ(app->SinkCount(), 1U);
    app->ReleaseChannel();
    EXPECT_TRUE(host.net.sessions.back()->released);
}

TEST_P(MediumSinks, GoWithTheirChannelAndItsSuccessorStays) {
    auto other = GetParam().make(78);
    ConnectSink(5);
    ConnectSink(6, 78);
    app->ReleaseChannel();
    EXPECT_EQ(app->SinkCount(), 0U);
    EXPECT_EQ(other->SinkCount(), GetParam().releaseEndsAll ? 0U : 1U);
    EXPECT_EQ(ConnectSink(7), 0U) << "no longer to be found";
    EXPECT_NE(ConnectSink(8, 78), 0U) << "still there";
    auto successor = GetParam().make(78);
    other->ReleaseChannel();
    EXPECT_NE(ConnectSink(9, 78), 0U);
    EXPECT_EQ(successor->SinkCount(), 1U);
    auto third = GetParam().make(79);
    EXPECT_NE(ConnectSink(10, 79), 0U);
    other.reset();
    third.reset();
    EXPECT_EQ(successor->SinkCount(), 1U) << "a channel that is deleted ends its own alone";
    EXPECT_EQ(ConnectSink(11, 79), 0U);
    auto last = GetParam().make(78);
    successor.reset();
    EXPECT_NE(ConnectSink(12, 78), 0U);
    EXPECT_EQ(last->SinkCount(), 1U) << "it had taken the ID before";
}

TEST_P(MediumSinks, LeaveTheirChannelToWhomItBelongs) {
    const bool owned = GetParam().ownsChannels;
    auto released = GetParam().make(78);
    auto left = GetParam().make(79);
    ConnectSink(5, 79);
    released->ReleaseChannel();
    app->ReleaseChannel();
    if (owned) left->LeaveChannel();
    host.Release();
    EXPECT_TRUE(owned || left->SinkCount() == 0);
    EXPECT_FALSE(released->isChannelDeleted) << "it was no longer registered";
    EXPECT_EQ(left->isChannelDeleted, owned);
}

TEST_P(MediumSinks, AreNotMadeWithoutALocalMcuNorIsAnythingElse) {
    app.reset();
    host.Release();
    app = GetParam().make(kChannelID);
    const CMcuAddress server{{CTestHost::kPeerIP, 0, 0}, 7000};
    for (const bool tcp : {false, true}) {
        EXPECT_FALSE(app->Sender(tcp, server));
        EXPECT_EQ(static_cast<bool>(app->Receiver(tcp, server)), tcp && !GetParam().needsChannel);
        EXPECT_FALSE(app->PeerReceiver(tcp));
    }
}

INSTANTIATE_TEST_SUITE_P(Media, MediumSinks, testing::Values(kAudio, kVideo, kWhiteboard, kDesktop, kFile),
                         testing::PrintToStringParamName());

}  // namespace
