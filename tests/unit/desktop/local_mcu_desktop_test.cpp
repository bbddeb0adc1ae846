// The desktop part of the local MCU, where it is not as that of files.
#include "desktop/local_mcu_desktop.h"
#include "lumomedia/desktop.h"
#include "support/log_capture.h"
#include "support/session_wire.h"
#include "support/test_manager.h"

#include <gtest/gtest.h>

using session_wire::U32;

namespace {

class CChannel : public CDesktopChannel {
public:
    explicit CChannel(uint32_t id) : CDesktopChannel(id) { Connect(); }
    void OnDesktopSinkData(const void*, int) override {}
    void Write(const std::string& frame) { OnDesktopChannelData(frame.data(), static_cast<int>(frame.size())); }
};

class CNotify final : public IDesktopSenderNotify, public IDesktopReceiverNotify {
public:
    void OnDesktopSenderNotifyConnected(unsigned long) override {}
    void OnDesktopReceiverNotifyConnected(unsigned long) override {}
    void OnDesktopReceiverNotifyData(const char* data, int length) override {
        frames.emplace_back(data, static_cast<size_t>(length));
    }
    std::vector<std::string> frames;
};

class LocalMcuDesktop : public testing::Test {
protected:
    void ConnectSink(uint32_t receiver) { host.Deliver(Hex("052b") + U32(receiver) + U32(77)); }
    IDesktopReceiver* SubscribeUDP() {
        IDesktopReceiver* receiver = CreateDesktopReceiverUDP(notify, 77, 10, 0, 0, 7000, 0, 0, 0, 0, true);
        receiverID = host.TakeSent().at(0).bytes.substr(2, 4);
        return receiver;
    }

    CTestHost host;
    CNotify notify;
    CChannel channel{77};
    std::string receiverID;
};

TEST_F(LocalMcuDesktop, WhatWaitsIsCountedAtSinksOnly) {
    IDesktopReceiver* receiver = CreateDesktopReceiverTCP(notify, 77, 10, 0, 0, 7000, 0, 0, 0, 0, 0, "", 0, "", "");
    host.net.LastClient().queued = 1;
    EXPECT_TRUE(channel.HasDesktopReceiver());
    EXPECT_EQ(channel.GetBufferingFrameCount(), 0U) << "nobody is there";
    ConnectSink(5);
    for (int i = 0; i < 4; ++i) channel.Write("frame");
    EXPECT_EQ(channel.GetBufferingFrameCount(), 3U);
    receiver->ReleaseConnections();
}

TEST_F(LocalMcuDesktop, AReceiverAsksOnceAndKeepsNothingAlive) {
    IDesktopReceiver* receiver = SubscribeUDP();
    const auto poll = [&] {
        for (int i = 0; i < 30; ++i) {
            EXPECT_TRUE(receiver->IsDisconnected());
            host.Run(1000, 1000);
        }
        EXPECT_TRUE(host.TakeSent().empty()) << "lost is lost";
    };
    poll();
    host.Deliver(Hex("052c") + receiverID + U32(600), 10, 7000);
    poll();
    host.clock.Advance(1000000);
    host.Deliver(Hex("052f") + receiverID + U32(600) + session_wire::Data(0, "frame"), 10, 7000);
    EXPECT_EQ(notify.frames, std::vector<std::string>{"frame"}) << "however long nothing came";
    receiver->ReleaseConnections();
    EXPECT_FALSE(channel.HasDesktopReceiver());
}

TEST_F(LocalMcuDesktop, UpstreamFramesLeaveAllAtOnce) {
    IDesktopReceiver* receiver = SubscribeUDP();
    host.Deliver(Hex("052c") + receiverID + U32(600), 10, 7000);
    for (const char* frame : {"first", "x", "second", "third"}) channel.Write(frame);
    std::vector<std::string> expected;
    for (uint16_t i = 0; i < 3; ++i)
        expected.push_back(
            ToHex(Hex("0530") + U32(600) + session_wire::Data(i, std::vector{"first", "second", "third"}[i])));
    EXPECT_EQ(host.TakeSentHex(), expected) << "nothing has been acknowledged";
    host.Run(200, 200);
    EXPECT_EQ(host.TakeSentHex(), expected) << "and the worker repeats them";
    receiver->ReleaseConnections();
}

TEST_F(LocalMcuDesktop, OnlyTheManagerLogsAnything) {
    CLogCapture log;
    ConnectSink(5);
    const std::string sink = host.TakeSent().at(0).bytes.substr(6);
    host.Deliver(Hex("052d") + sink);
    host.Deliver(Hex("0530") + sink + session_wire::Data(0, "up"));
    host.Deliver(Hex("05"));
    host.Deliver(Hex("05ff") + sink);
    IDesktopSender* sender = CreateDesktopSenderUDP(notify, 77, 10, 0, 0, 7000);
    host.Deliver(Hex("0533") + host.TakeSent().back().bytes.substr(6) + U32(500) + U32(9), 10, 7000);
    IDesktopReceiver* receiver = SubscribeUDP();
    host.Deliver(Hex("052c") + receiverID + U32(600), 10, 7000);
    host.Deliver(Hex("052f") + receiverID + U32(600) + session_wire::Data(0, "down"), 10, 7000);
    channel.Write("frame");
    IDesktopSender* overTcp = CreateDesktopSenderTCP(notify, 77, 10, 0, 0, 7000, 0, "", 0, "", "");
    CFakeTcp& client = host.net.LastClient();
    client.clientNotify->OnTcpClientNotifyConnected();
    client.clientNotify->OnTcpClientNotifyValidate(10, U32(77).data(), 4);
    client.lost = true;
    EXPECT_TRUE(overTcp->IsDisconnected());
    overTcp->ReleaseConnections();
    sender->IsDisconnected();
    sender->ReleaseConnections();
    receiver->ReleaseConnections();
    host.Deliver(Hex("0531") + sink);
    for (const std::string& line : log.Lines()) {
        const bool managers =
            line.compare(0, 18, "CLocalMCUManager::") == 0 || line.compare(0, 12, "SendUdpData(") == 0;
        EXPECT_TRUE(managers || line == "UDP_DESKTOP") << line;
    }
}

}  // namespace
