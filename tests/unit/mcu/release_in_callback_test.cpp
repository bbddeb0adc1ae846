// What belongs to no far side is not released inside a callback either. The rows of senders and receivers are in
// tests/sim.
#include "lumomedia/audio.h"
#include "lumomedia/desktop.h"
#include "lumomedia/file.h"
#include "lumomedia/p2p.h"
#include "lumomedia/video.h"
#include "lumomedia/whiteboard.h"
#include "platform/lumobase/app_log.h"
#include "support/log_capture.h"
#include "support/p2p_peer.h"
#include "support/session_wire.h"
#include "support/test_manager.h"
#include "support/wb_words.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

using session_wire::ReadU32;
using session_wire::U32;
using namespace wb_words;

namespace {

constexpr uint32_t kChannel = 77;
constexpr uint32_t kUser = 7;

class CFiles : public CFileChannel {
public:
    CFiles() : CFileChannel(kChannel) { Connect(); }
    void OnFileSinkData(const void*, int) override {}
};
class CScreen : public CDesktopChannel {
public:
    CScreen() : CDesktopChannel(kChannel) { Connect(); }
    void OnDesktopSinkData(const void*, int) override {}
};
class CBoard : public CWBChannel {
public:
    CBoard() : CWBChannel(kChannel) { Connect(); }
};

class ReleaseInCallback : public testing::Test,
                          public ISignalNotify,
                          public IAudioSenderNotify,
                          public IWBSessionClientNotify {
protected:
    void OnSignalNotifyConnected(unsigned long) override { inCallback(); }
    void OnSignalNotifyCmd(CCmdPacket&) override {}
    void OnConnected(unsigned long) override {}
    void OnWBSessionClientNotifyConnected(unsigned long) override {}

    std::function<void()> inCallback;
};

TEST_F(ReleaseInCallback, IsRefusedToAllAlikeWithOneLineAndGrantedAfterwards) {
    CP2PApplication application;
    IP2P* peers = CreateP2P(application);
    CTestHost host;
    ISignalClient* client = CreateSignalClient(*this, kUser, CTestHost::kPeerIP, 7000, 0, "", 0, "", "");
    CFakeTcp& tcp = host.net.LastClient();
    CAudioChannel audio(kChannel);
    CVideoChannel video(kChannel);
    CFiles files;
    CScreen screen;
    CBoard board;
    struct Row {
        std::string name;
        std::function<void()> release;
        std::function<bool()> isThere;
    };
    const Row rows[] = {
        {"Channel 77", [&] { audio.ReleaseConnections(); },
         [] { return GetLocalMCUAudio()->Tables().channels.Size() == 1; }},
        {"Channel 77", [&] { video.ReleaseConnections(); },
         [] { return GetLocalMCUVideo()->Tables().channels.Size() == 1; }},
        {"Channel 77", [&] { files.ReleaseConnections(); },
         [] { return GetLocalMCUFile()->Tables().channels.Size() == 1; }},
        {"Channel 77", [&] { screen.ReleaseConnections(); },
         [] { return GetLocalMCUDesktop()->Tables().channels.Size() == 1; }},
        {"Whiteboard 77", [&] { board.ReleaseConnections(); },
         [] { return GetLocalMCUWB()->Tables().channels.Size() == 1; }},
        {"The signalling client of user 7", [&] { client->ReleaseConnections(); }, [&] { return !tcp.released; }},
        {"The local MCU", [&] { host.manager->ReleaseConnections(); }, [] { return GetLocalMcuMgr() != nullptr; }},
        {"The peer-to-peer manager", [&] { peers->ReleaseConnections(); }, [] { return GetP2PMgr() != nullptr; }},
    };
    CLogCapture log;
    inCallback = [&] {
        for (const Row& row : rows) row.release();
        EXPECT_FALSE(CreateAudioSenderUDP(*this, kChannel, 0, 0, 0, 0));
        EXPECT_EQ(audio.GetAudioSinkCount(), 0U) << "what a factory gives up is gone all the same";
    };
    const std::string answer = session_wire::U32(kUser);
    ASSERT_TRUE(tcp.clientNotify->OnTcpClientNotifyValidate(100, answer.data(), 4));
    AppLog().Flush();
    std::vector<std::string> refused;
    for (const std::string& line : log.Lines()) {
        const size_t end = line.find(" is not released inside a callback");
        if (end != std::string::npos) refused.push_back(line.substr(0, end));
    }
    ASSERT_EQ(refused.size(), std::size(rows));
    for (size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(refused[i], rows[i].name);
        ASSERT_TRUE(rows[i].isThere()) << rows[i].name;
        rows[i].release();
        EXPECT_FALSE(rows[i].isThere()) << rows[i].name;
        if (rows[i].name == "The local MCU") host.manager = nullptr;
    }
}

/// What an application makes of a message: it tries to end who sent it, and throws.
class CHostileBoard : public CWBChannel {
public:
    CHostileBoard() : CWBChannel(78) { Connect(); }
    void OnWBChannelData(unsigned long, const char*, int) override {
        ++heard;
        if (client) client->ReleaseConnections();
        throw std::string("no");
    }
    IWBSessionClient* client = nullptr;
    int heard = 0;
};

TEST_F(ReleaseInCallback, WhatABoardOfTheApplicationDoesWithAMessageEndsNobody) {
    CTestHost host;
    CHostileBoard board;
    const std::string message = Message(kData, 3);
    const std::string packets[] = {session_wire::Data(0, message), session_wire::Data(1, message)};
    board.client = CreateWBSessionClientUDP(*this, 78, CTestHost::kPeerIP, 0, 0, 7, 0, 0, 0, 0, false);
    const uint32_t id = ReadU32(host.TakeSent().at(0).bytes, 2);
    host.Deliver(Hex("0425") + U32(id) + U32(600));
    for (const std::string& packet : packets) host.Deliver(Hex("042a") + U32(id) + U32(600) + packet);
    EXPECT_EQ(board.heard, 2);
    host.TakeSent();
    host.Deliver(Hex("0424") + U32(5) + U32(78));
    const uint32_t session = ReadU32(host.TakeSent().at(0).bytes, 6);
    for (const std::string& packet : packets) host.Deliver(Hex("0429") + U32(session) + packet);
    EXPECT_EQ(board.heard, 4);
    std::exchange(board.client, nullptr)->ReleaseConnections();
}

}  // namespace
