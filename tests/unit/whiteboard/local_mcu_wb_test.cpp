// The whiteboard part of the local MCU: sessions of mixed transports on one board, and what a client is told.
#include "whiteboard/local_mcu_wb.h"

#include "support/medium_scene.h"
#include "support/p2p_peer.h"
#include "support/wb_reader.h"
#include "support/wb_words.h"
#include "whiteboard/wb_memory.h"

#include <set>

using session_wire::ReadU32;
using namespace wb_words;

namespace {

using Messages = std::vector<std::string>;

class LocalMcuWB : public testing::Test, protected CMediumScene {
protected:
    LocalMcuWB() : CMediumScene(kWhiteboard) {}
    /// The message in the first datagram sent whose packet begins there.
    std::string SentMessage(size_t envelope) {
        const auto sent = host.TakeSent();
        EXPECT_EQ(sent.size(), 1U);
        return session_wire::Payload(sent.at(0).bytes.substr(envelope));
    }

    CWBChannel& board = app->As<CWBChannel>();
};

TEST_F(LocalMcuWB, TheSweepDeletesChannelsThatLostAllSessionsAndTheLocalMcuTheOthers) {
    std::vector<std::unique_ptr<CMediumApp>> apps;
    for (const uint32_t id : {80U, 81U, 82U}) apps.push_back(kWhiteboard.make(id));
    for (const auto& one : apps) one->LeaveChannel();
    const auto deleted = [&] {
        return std::vector{apps[0]->isChannelDeleted, apps[1]->isChannelDeleted, apps[2]->isChannelDeleted};
    };
    for (const uint32_t id : {80U, 81U, kChannelID}) ConnectSink(id, id);
    GetLocalMCUWB()->RemoveEmptyWBChannels();
    EXPECT_EQ(deleted(), (std::vector{false, false, false}));
    app->ReleaseChannel();  // and all sessions end
    GetLocalMCUWB()->RemoveEmptyWBChannels();
    EXPECT_EQ(deleted(), (std::vector{true, true, false})) << "82 never had one";
    host.Release();
    EXPECT_EQ(deleted(), (std::vector{true, true, true}));
}

TEST_F(LocalMcuWB, SessionsOfAllTransportsShareOneBoard) {
    CReader reader(board), second(board);
    const uint32_t udp = ConnectSink(5);
    Serve(Row().tcp.receiver, session_wire::U32(kChannelID));
    CFakeTcp& tcp = *host.net.sessions.back();
    tcp.TakeSent();
    reader.throws = true;  // its own affair
    host.Deliver(Say(Row().sink.frameAck, {udp}, Framed(Message(kData, 1, 9, "one"))));
    reader.throws = false;
    EXPECT_EQ(reader.Heard(), Messages{Message(kOffer, 1, 9)});
    EXPECT_EQ(second.Heard(), Messages{Message(kOffer, 1, 9)});
    EXPECT_EQ(tcp.TakeSent().at(0).bytes, Message(kOffer, 1, 9));
    const std::string request = Message(kRequest, 1);
    tcp.sessionNotify->OnTcpSessionNotifyReceivedFrame(request.data(), static_cast<int>(request.size()));
    EXPECT_EQ(tcp.TakeSent().at(0).bytes, Message(kData, 1, 9, "one"));
    host.TakeSent();
    reader.Say(Message(kClear));
    ExpectSent(Say(Row().sink.frame, {5, udp}, Framed(Message(kClear))), 1);
    EXPECT_EQ(tcp.TakeSent().size(), 1U);
    EXPECT_EQ(second.Heard(), Messages{Message(kClear)});
    CWBMemory::Get().SetLimit(0);
    const std::string refused = Message(kData, 7, 9, "two");
    tcp.sessionNotify->OnTcpSessionNotifyReceivedFrame(refused.data(), static_cast<int>(refused.size()));
    CWBMemory::Get().SetLimit(UINT64_MAX);
    EXPECT_EQ(tcp.TakeSent().at(0).bytes, Message(kDelete, 7, 9, Words({7}))) << "whoever drew it is told, and alone";
    EXPECT_TRUE(second.Heard().empty());
    EXPECT_TRUE(reader.Heard().empty());
}

TEST_F(LocalMcuWB, ALateJoinerHearsTheAcknowledgementFirstAndThenTheList) {
    CReader reader(board);
    reader.Say(Message(kData, 3));
    host.Deliver(Request(5));
    const auto sent = host.TakeSent();
    ASSERT_EQ(sent.size(), 3U);
    const uint32_t sink = ReadU32(sent[0].bytes, 6);
    EXPECT_EQ(sent[1].bytes, Say(Row().sink.connectAck, {5, sink}));
    EXPECT_EQ(sent[2].bytes, Say(Row().sink.frame, {5, sink}, Framed(Message(kList, 0, 0, Words({3})))));
}

TEST_F(LocalMcuWB, ClientsTakeTheirChannelOrTheFirst) {
    const auto other = kWhiteboard.make(78);
    const auto channelOf = [&](uint32_t asked) {
        app->asksFor = asked;
        const CMade client = app->Receiver(false, kServer);
        return client ? SentID(6) : 0;
    };
    EXPECT_EQ(channelOf(78), 78U);
    EXPECT_EQ(channelOf(79), kChannelID);
    app->ReleaseChannel();
    other->ReleaseChannel();
    EXPECT_EQ(channelOf(kChannelID), 0U);
}

TEST_F(LocalMcuWB, WhatIsDrawnBeforeTheFarSideAnswersIsTold) {
    CReader reader(board);
    reader.Say(Message(kData, 3));
    CAnsweringPeer peer;
    CMade tcp = app->PeerReceiver(true);
    reader.Say(Message(kData, 4));
    EXPECT_FALSE(tcp.IsDisconnected()) << "the way is not known yet";
    peer.Announce("P2P_FETCH_ACK", CMediumApp::kPeerUser);
    EXPECT_FALSE(tcp.IsDisconnected());
    const std::string list = Message(kList, 0, 0, Words({3, 4}));
    EXPECT_EQ(host.net.LastClient().TakeSent().at(0).bytes, list);
    tcp.Release();
    host.TakeSent();
    const CMade udp = app->Receiver(false, kServer);
    const uint32_t id = SentID(2);
    FromServer(Say(Row().sink.connectAck, {id, kSinkID}));
    host.Deliver(Say(Row().sink.connectAck, {id, kSinkID}), kServer.ips[0], 9);  // only a sign of life
    FromServer(Say(Row().sink.connectAck, {id, 601}));
    EXPECT_EQ(app->connected.size(), 1U);
    EXPECT_EQ(SentMessage(6), list);
}

TEST_F(LocalMcuWB, WhereMoreWasSaidThanMayWaitTheFarSideGetsTheListAnew) {
    CReader reader(board);
    reader.Say(Message(kData, 3));
    const CMade made = app->Receiver(false, kServer);
    auto* client = dynamic_cast<CWBClientUDP*>(&made.As<IWBSessionClient>());
    ASSERT_TRUE(client);
    client->GetFrameLink()->SetQueueLimit(1000);
    for (int i = 0; i < 10; ++i) reader.Say(Message(23, 0, 0, std::string(200, 'x')));
    FromServer(Say(Row().sink.connectAck, {SentID(2), kSinkID}));
    EXPECT_EQ(SentMessage(6), Message(kList, 0, 0, Words({3})));
    EXPECT_FALSE(made.IsDisconnected());
}

// The link carries one message at a time.
TEST_F(LocalMcuWB, OnALinkThatLagsOfEachPointerOnlyTheNewestLeavesAndLast) {
    CReader one(board), other(board);
    CMade client = app->Receiver(true, kServer);
    Serve(Row().tcp.receiver, session_wire::U32(kChannelID));
    const uint32_t udp = ConnectSink(5);
    const auto at = [](uint32_t x) { return Message(kPointer, 7, 0, Words({x, 0})); };
    const std::string first = Message(0x4c50, 7, 1, "Ada"), eight = Message(kPointer, 8), gone = Message(kPointer, 7);
    const Messages others{Message(kPointer, 7, 0, "longer than places are"), Message(0x4c50), at(9), at(9),
                          Message(23)};
    one.Say(first);
    for (const std::string& message : {at(1), eight, at(2), others[0], others[1]}) one.Say(message);
    for (int i = 0; i < 2; ++i) other.Say(Message(kReplaceAll, 1, 0, at(9)));  // what they get only looks like one
    other.Say(at(4));
    one.Say(gone);
    one.Say(others[4]);
    Messages left;
    for (uint16_t sequence = 0;; ++sequence) {
        const auto sent = host.TakeSent();
        if (sent.empty()) break;
        left.push_back(session_wire::Payload(sent[0].bytes.substr(10)));
        host.Deliver(Say(Row().sink.frameAck, {udp}, session_wire::Ack(sequence)));
    }
    Messages expected{first};
    expected.insert(expected.end(), others.begin(), others.end());
    expected.insert(expected.end(), {gone, eight, at(4)});
    EXPECT_EQ(left, expected);
    for (const CFakeTcp* tcp : {host.net.sessions.back().get(), &host.net.LastClient()}) {
        const std::vector<uint64_t>& keys = tcp->newest;
        ASSERT_EQ(keys.size(), 5U);
        EXPECT_TRUE(keys[0] == keys[2] && keys[2] == keys[4]);
        EXPECT_EQ(std::set(keys.begin(), keys.end()).size(), 3U) << "another's of the same ID is another's";
    }
}

}  // namespace
