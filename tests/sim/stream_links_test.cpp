// What streams do on their links that shares do not, and the other way about.
#include "support/medium_scene.h"

using session_wire::U32;

namespace {

class StreamSenders : public MediumScene {};

TEST_P(StreamSenders, SendBetweenStartAndStopAndWhileEnabled) {
    const CSourceRow& source = Row().source;
    CMade sender = app->Sender(false, kServer);
    const uint32_t key = SentID(6);
    uint16_t sequence = 0;
    const auto goes = [&](bool expected) {
        app->Write("1234");
        ExpectSentToServer(Say(source.frame, {kSourceID}, Framed("1234", sequence)), expected ? 1 : 0);
        if (expected && Row().session) FromServer(Say(source.frameAck, {key}, session_wire::Ack(sequence++)));
    };
    FromServer(Say(source.keepAlive, {key, 3}));
    goes(false);  // not connected
    FromServer(Say(source.connectAck, {key, kSourceID, 0}));
    FromServer(Say(source.keepAlive, {key, 3}));
    host.TakeSent();
    goes(true);
    EXPECT_FALSE(sender.SetEnable(false));
    EXPECT_TRUE(host.TakeSent().empty()) << "the server hears nothing of it";
    goes(false);
    EXPECT_TRUE(sender.SetEnable(true));
    goes(true);
    FromServer(Say(source.stop, {key}));
    ExpectSentToServer(Say(source.stopAck, {kSourceID}), 1);
    goes(false);
}

TEST_P(StreamSenders, OverTcpAreStartedAndStoppedByTheirOwnControlBytes) {
    CMade sender = app->Sender(true, kServer);
    CFakeTcp& client = host.net.LastClient();
    const auto sendsAfter = [&](const std::string& frame) {
        Arrive(client, frame);
        app->Write("1234");
        return client.TakeSent().size();
    };
    const std::string start(1, Row().tcp.start), stop(1, Row().tcp.stop);
    std::vector<std::string> others = {start + start, std::string(1 << 20, Row().tcp.start)};
    for (int byte = 0; byte < 256; ++byte) others.emplace_back(1, static_cast<char>(byte));
    for (const std::string& other : others)
        EXPECT_TRUE(other == start || sendsAfter(other) == 0) << ToHex(other.substr(0, 1));
    EXPECT_EQ(sendsAfter(start), 1U);
    for (const std::string& other : others)
        EXPECT_TRUE(other == stop || sendsAfter(other) == 1) << ToHex(other.substr(0, 1));
    EXPECT_EQ(sendsAfter(stop + stop), 1U);
    EXPECT_EQ(sendsAfter(stop), 0U);
}

class StreamReceivers : public MediumScene {};

TEST_P(StreamReceivers, TellTheSinkAtOnceAndAgainWhatTheyWant) {
    const CSinkRow& sink = Row().sink;
    CMade receiver = app->Receiver(false, kServer);
    const uint32_t id = SentID(2);
    EXPECT_FALSE(receiver.SetEnable(false));
    EXPECT_TRUE(host.TakeSent().empty()) << "nobody to tell yet";
    FromServer(Say(sink.connectAck, {id, kSinkID}));
    ExpectSentToServer(Say(sink.stop, {kSinkID}), 2);
    EXPECT_TRUE(receiver.SetEnable(true));
    ExpectSentToServer(Say(sink.keepAlive, {kSinkID}), 2);
    FromServer(Say(sink.connectAck, {id, kSinkID}));
    ExpectSentToServer(Say(sink.keepAlive, {kSinkID}), 2);
}

TEST_P(StreamReceivers, OverTcpSayItWithControlBytesAndRepeatTheLastOne) {
    CMade receiver = app->Receiver(true, kServer);
    CFakeTcp& client = host.net.LastClient();
    client.clientNotify->OnTcpClientNotifyConnected();
    client.TakeSent();
    const auto saidAfter = [&](int polls) {
        for (int i = 0; i < polls; ++i) EXPECT_FALSE(receiver.IsDisconnected());
        std::string bytes;
        for (const CSentMessage& message : client.TakeSent()) bytes += message.bytes;
        return bytes;
    };
    const std::string start(1, Row().tcp.start), stop(1, Row().tcp.stop);
    EXPECT_EQ(saidAfter(12), start) << "the server has not answered yet, and still the keep-alive is the medium's";
    EXPECT_TRUE(Answer(client, Row().tcp.receiver, U32(kChannelID) + U32(kSinkID)));
    EXPECT_EQ(saidAfter(0), start);
    client.queued = 5;
    EXPECT_FALSE(receiver.SetEnable(false));
    EXPECT_EQ(saidAfter(0), stop);
    EXPECT_EQ(client.queued, Row().tcp.statesAlone ? 0U : 5U);
    client.queued = 0;
    EXPECT_EQ(saidAfter(11), "");
    EXPECT_EQ(saidAfter(1), stop) << "the keep-alive says the same";
}

INSTANTIATE_TEST_SUITE_P(Media, StreamSenders, testing::Values(kAudio, kVideo), testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(Media, StreamReceivers, testing::Values(kAudio, kVideo), testing::PrintToStringParamName());

class Shares : public MediumScene {};

TEST_P(Shares, WhatIsWrittenEarlyReachesTheServerOnceItAnswers) {
    CMade sender = app->Sender(false, {{10, 0, 11}, 7000});
    const uint32_t key = SentID(6);
    app->Write("early");
    EXPECT_EQ(host.TakeSent().at(0).ip, 0U) << "nowhere yet";
    host.Deliver(Say(Row().source.connectAck, {key, kSourceID, 9}), 11, 7100);
    host.Run(200);
    ExpectSent(Say(Row().source.frame, {kSourceID}, Framed("early")), 1, 11, 7100);
}

TEST_P(Shares, FramesOfTheLocalChannelGoToSinksAndUpThroughTheReceiver) {
    const uint32_t sink = ConnectSink(5);
    CMade receiver = app->Receiver(false, kServer);
    FromServer(Say(Row().sink.connectAck, {SentID(2), kSinkID}));
    host.TakeSent();
    app->Write("both");
    const auto sent = host.TakeSent();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0].bytes, Say(Row().sink.frame, {5, sink}, Framed("both")));
    EXPECT_EQ(sent[1].bytes, Say(Row().sink.frameAck, {kSinkID}, Framed("both")));
    app->Write("wait");
    EXPECT_EQ(app->Buffering(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Media, Shares, testing::Values(kDesktop, kFile), testing::PrintToStringParamName());

}  // namespace
