// What belongs to no far side is not released inside a callback either. The rows of senders and receivers are in
// tests/sim.
#include "lumomedia/p2p.h"
#include "lumomedia/whiteboard.h"
#include "platform/lumobase/app_log.h"
#include "support/log_capture.h"
#include "support/medium_scene.h"
#include "support/p2p_peer.h"
#include "support/wb_words.h"

#include <functional>
#include <utility>

using session_wire::U32;

namespace {

constexpr uint32_t kUser = 7;

class CTold final : public ISignalNotify {
public:
    void OnSignalNotifyConnected(unsigned long) override { inCallback(); }
    void OnSignalNotifyCmd(CCmdPacket&) override {}
    std::function<void()> inCallback;
};

TEST(ReleaseInCallback, IsRefusedToAllAlikeWithOneLineAndGrantedAfterwards) {
    CP2PApplication application;
    CTold told;
    IP2P* peers = CreateP2P(application);
    CTestHost host;
    ISignalClient* client = CreateSignalClient(told, kUser, CTestHost::kPeerIP, 7000, 0, "", 0, "", "");
    CFakeTcp& tcp = host.net.LastClient();
    struct Row {
        std::string name;
        std::function<void()> release;
        std::function<bool()> isThere;
    };
    std::vector<Row> rows;
    std::vector<std::unique_ptr<CMediumApp>> apps;
    for (const CTestMedium* medium : {&kAudio, &kVideo, &kFile, &kDesktop, &kWhiteboard}) {
        CMediumApp& app = *apps.emplace_back(medium->make(CMediumApp::kChannelID));
        const auto name = medium->row.board ? "Whiteboard 77" : "Channel 77";
        const auto isThere = [&host, medium] {  // where a subscriber finds it
            host.TakeSent();
            host.Deliver(Datagram(medium->row, medium->row.sink.connect, {5, CMediumApp::kChannelID},
                                  medium->row.sink.namesUser ? U32(1) : ""));
            return !host.TakeSent().empty();
        };
        rows.push_back({name, [&app] { app.ReleaseChannel(); }, isThere});
    }
    rows.push_back(
        {"The signalling client of user 7", [&] { client->ReleaseConnections(); }, [&] { return !tcp.released; }});
    rows.push_back(
        {"The local MCU", [&] { host.manager->ReleaseConnections(); }, [] { return GetLocalMcuMgr() != nullptr; }});
    rows.push_back(
        {"The peer-to-peer manager", [&] { peers->ReleaseConnections(); }, [] { return GetP2PMgr() != nullptr; }});
    CLogCapture log;
    told.inCallback = [&] {
        for (const Row& row : rows) row.release();
        EXPECT_FALSE(apps[0]->Sender(false, {}));
        EXPECT_EQ(apps[0]->SinkCount(), 0U) << "what a factory gives up is gone all the same";
    };
    ASSERT_TRUE(tcp.clientNotify->OnTcpClientNotifyValidate(100, U32(kUser).data(), 4));
    AppLog().Flush();
    std::vector<std::string> refused;
    for (const std::string& line : log.Lines()) {
        const size_t end = line.find(" is not released inside a callback");
        if (end != std::string::npos) refused.push_back(line.substr(0, end));
    }
    ASSERT_EQ(refused.size(), rows.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(refused[i], rows[i].name);
        ASSERT_TRUE(rows[i].isThere()) << rows[i].name;
        rows[i].release();
        if (rows[i].name == "The local MCU") host.manager = nullptr;
        EXPECT_FALSE(rows[i].isThere()) << rows[i].name;
    }
}

/// What an application makes of a message: it tries to end who sent it, and throws.
class CHostileBoard : public CWBChannel {
public:
    CHostileBoard() : CWBChannel(78) { Connect(); }
    void OnWBChannelData(unsigned long, const char*, int) override {
        ++heard;
        client.AskForRelease();
        throw std::string("no");
    }
    CMade client;
    int heard = 0;
};

TEST(ReleaseInCallback, WhatABoardOfTheApplicationDoesWithAMessageEndsNobody) {
    CMediumScene scene(kWhiteboard);
    CHostileBoard board;
    const CSinkRow& row = scene.Row().sink;
    scene.app->asksFor = 78;
    board.client = scene.app->Receiver(false, CMediumScene::kServer);
    const uint32_t id = scene.SentID(2), session = scene.ConnectSink(5, 78);
    scene.FromServer(scene.Say(row.connectAck, {id, 600}));
    for (const uint16_t i : {uint16_t{0}, uint16_t{1}}) {
        const std::string packet = session_wire::Data(i, wb_words::Message(wb_words::kData, 3));
        scene.FromServer(scene.Say(row.frame, {id, 600}, packet));
        scene.host.Deliver(scene.Say(row.frameAck, {session}, packet));
    }
    EXPECT_EQ(board.heard, 4);
    board.client.Release();
}

}  // namespace
