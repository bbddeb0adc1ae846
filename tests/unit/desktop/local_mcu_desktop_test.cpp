// The desktop part of the local MCU: where it is not as that of files, and the bytes on its wire.
#include "desktop/local_mcu_desktop.h"
#include "lumomedia/desktop.h"
#include "lumomedia/file.h"
#include "support/log_capture.h"
#include "support/session_wire.h"
#include "support/test_manager.h"

#include <gtest/gtest.h>

#include <set>

using session_wire::ReadU32;
using session_wire::U32;

namespace {

class CChannel : public CDesktopChannel {
public:
    explicit CChannel(uint32_t id, bool* ended = nullptr) : CDesktopChannel(id), m_pbEnded(ended) { Connect(); }
    ~CChannel() override {
        if (m_pbEnded) *m_pbEnded = true;
    }
    void OnDesktopSinkData(const void* data, int length) override {
        upstream.emplace_back(static_cast<const char*>(data), static_cast<size_t>(length));
    }
    void Write(const std::string& frame) { OnDesktopChannelData(frame.data(), static_cast<int>(frame.size())); }
    std::vector<std::string> upstream;

private:
    bool* const m_pbEnded;
};

class CNotify final : public IDesktopSenderNotify, public IDesktopReceiverNotify {
public:
    void OnDesktopSenderNotifyConnected(unsigned long ip) override { connected.push_back(ip); }
    void OnDesktopReceiverNotifyConnected(unsigned long ip) override { connected.push_back(ip); }
    void OnDesktopReceiverNotifyData(const char* data, int length) override {
        frames.emplace_back(data, static_cast<size_t>(length));
    }
    std::vector<unsigned long> connected;
    std::vector<std::string> frames;
};

class LocalMcuDesktop : public testing::Test {
protected:
    void ConnectSink(uint32_t receiver, uint32_t channelID = 77) {
        host.Deliver(Hex("052b") + U32(receiver) + U32(channelID));
    }
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

TEST_F(LocalMcuDesktop, SinksAreAskedForByKindFiveAndAnsweredTwice) {
    ConnectSink(5);
    const auto answer = host.TakeSent();
    ASSERT_EQ(answer.size(), 2U);
    EXPECT_EQ(answer[0].bytes, answer[1].bytes);
    EXPECT_EQ(answer[0].bytes.substr(0, 6), Hex("052c") + U32(5));
    const std::string sink = answer[0].bytes.substr(6);
    host.Deliver(Hex("052d") + sink);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(2, ToHex(Hex("052e") + U32(5) + sink)));
    host.Deliver(Hex("0530") + sink + session_wire::Data(0, "up"));
    EXPECT_EQ(channel.upstream, std::vector<std::string>{"up"});
    EXPECT_EQ(host.TakeSent().at(0).bytes.substr(0, 10), Hex("052f") + U32(5) + sink);

    const std::string request = U32(6) + U32(77);
    host.Deliver(Hex("062b") + request);                          // of files there is no such command
    host.Deliver(Hex("0539") + request);                          // nor theirs of desktops
    host.Deliver(Hex("052b") + request + std::string(14, '\0'));  // the servers' form
    for (const char* ignored : {"0532", "0534", "0537", "0538"}) host.Deliver(Hex(ignored) + request);
    EXPECT_TRUE(host.TakeSent().empty());
    EXPECT_EQ(channel.GetDesktopSinkCount(), 1U);
    host.Deliver(Hex("0531") + sink);
    EXPECT_TRUE(channel.IsEmpty());
}

TEST_F(LocalMcuDesktop, TcpTakesTheShortValidationOfTypeElevenOnly) {
    const struct {
        uint32_t type;
        std::string payload;
        bool taken;
    } rows[] = {{11, U32(77) + std::string(14, '\0'), false},
                {13, U32(77), false},
                {10, U32(77), false},
                {11, U32(78), false},
                {11, U32(77), true}};
    for (const auto& row : rows) {
        CFakeTcp& session = host.net.NewSession();
        EXPECT_EQ(host.net.TcpServer().Validate(&session, row.type, row.payload), row.taken) << row.type;
        EXPECT_EQ(session.sent.size(), row.taken ? 1U : 0U);
        if (row.taken) {
            EXPECT_EQ(session.sent.at(0).bytes, Hex("0000000b 00000004 0000004d"));
        }
    }
    EXPECT_EQ(channel.GetDesktopSinkCount(), 1U);
}

TEST_F(LocalMcuDesktop, ReleasingOneChannelEndsTheSinksOfAll) {
    CChannel other(78);
    ConnectSink(5, 77);
    ConnectSink(6, 78);
    CFakeTcp& session = host.net.NewSession();
    host.net.TcpServer().Validate(&session, 11, U32(78));
    channel.ReleaseConnections();
    EXPECT_EQ(other.GetDesktopSinkCount(), 0U);
    EXPECT_TRUE(session.released);
    ConnectSink(5, 77);
    EXPECT_EQ(channel.GetDesktopSinkCount(), 0U) << "no longer to be found";
    ConnectSink(6, 78);
    EXPECT_EQ(other.GetDesktopSinkCount(), 1U) << "still there";
    CChannel successor(78);
    other.ReleaseConnections();
    ConnectSink(7, 78);
    EXPECT_EQ(successor.GetDesktopSinkCount(), 1U) << "who has its ID now stays";
}

TEST_F(LocalMcuDesktop, DeletingAChannelEndsItsOwnSinksOnly) {
    auto other = std::make_unique<CChannel>(78);
    ConnectSink(5, 77);
    ConnectSink(6, 78);
    other.reset();
    EXPECT_EQ(channel.GetDesktopSinkCount(), 1U);
    EXPECT_EQ(GetLocalMCUDesktop()->Tables().sinks.Size(), 1U);
}

TEST_F(LocalMcuDesktop, ChannelsThatAreLeftGoWithTheLocalMcu) {
    class CFiles : public CFileChannel {
    public:
        CFiles() : CFileChannel(1) { Connect(); }
        void OnFileSinkData(const void*, int) override {}
    } files;
    channel.ReleaseConnections();
    bool ended[3] = {};
    std::unique_ptr<CChannel> released(new CChannel(80, &ended[0]));
    for (uint32_t i : {1U, 2U}) new CChannel(80 + i, &ended[i]);  // the local MCU's own in the end
    ConnectSink(5, 81);
    released->ReleaseConnections();
    host.Release();
    EXPECT_FALSE(ended[0]) << "it was no longer registered";
    EXPECT_TRUE(ended[1]);
    EXPECT_TRUE(ended[2]);
    EXPECT_EQ(files.GetFileChannelID(), 1U) << "files are the application's";
}

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

TEST_F(LocalMcuDesktop, SenderWireBytes) {
    EXPECT_EQ(CreateDesktopSenderUDP(notify, 77, 0, 0, 0, 7000), nullptr);
    EXPECT_EQ(CreateDesktopSenderUDP(notify, 78, 10, 0, 0, 7000), nullptr);
    EXPECT_EQ(channel.GetDesktopSinkCount(), 0U);
    IDesktopSender* sender = CreateDesktopSenderUDP(notify, 77, 10, 10, 11, 7000);
    const auto connect = host.TakeSent();
    ASSERT_EQ(connect.size(), 2U) << "each distinct address once";
    const std::string key = connect[0].bytes.substr(6);
    EXPECT_EQ(connect[1].bytes, Hex("0532") + U32(77) + key);
    for (int i = 0; i < 2; ++i) host.Deliver(Hex("0533") + key + U32(500) + U32(9), 11, 7100);
    EXPECT_EQ(notify.connected, std::vector<unsigned long>{11}) << "once";
    channel.Write("picture");
    host.Deliver(Hex("0536") + key);
    EXPECT_EQ(host.TakeSentHex(),
              (std::vector<std::string>{ToHex(Hex("0534") + U32(500) + session_wire::Data(0, "picture")),
                                        ToHex(Hex("0537") + U32(500))}));
    host.Deliver(Hex("0535") + key + session_wire::Data(0, "x"), 11, 7100);
    host.Deliver(Hex("0535") + key + session_wire::Data(1, "up"), 11, 7100);
    EXPECT_EQ(channel.upstream, std::vector<std::string>{"up"}) << "a byte alone is none";
    host.TakeSent();
    sender->ReleaseConnections();
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(3, ToHex(Hex("0538") + U32(500))));
}

TEST_F(LocalMcuDesktop, SenderOverTcpTakesWhateverChannelIsEchoedButZero) {
    IDesktopSender* sender = CreateDesktopSenderTCP(notify, 77, 10, 0, 0, 7000, 1, "proxy", 8080, "user", "secret");
    CFakeTcp& client = host.net.LastClient();
    EXPECT_EQ(client.proxy, "1 proxy 8080 user secret");
    client.clientNotify->OnTcpClientNotifyConnected();
    EXPECT_EQ(client.sent.at(0).bytes, Hex("0000000a 00000004 0000004d"));
    EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(10, nullptr, 4));
    EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(10, U32(77).data(), 3));
    EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(10, U32(0).data(), 4));
    EXPECT_TRUE(notify.connected.empty());
    EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyValidate(99, U32(78).data(), 4));
    EXPECT_EQ(notify.connected.size(), 1U);
    sender->ReleaseConnections();
}

struct ReceiverRow {
    CMcuAddress peer, local;
    bool peerOnly;
    std::set<uint32_t> to;
    uint16_t port;
    std::string relay;
};

TEST_F(LocalMcuDesktop, ReceiverAsksTheRightServerOnceAndNamesThePort) {
    const std::string nobody(14, '\0');
    const ReceiverRow rows[] = {
        {{{10, 11, 0}, 7000}, {{20, 0, 0}, 7001}, false, {20}, 7001, U32(10) + U32(11) + U32(0) + Hex("1b58")},
        {{{10, 11, 10}, 7000}, {{20, 0, 0}, 7001}, true, {10, 11}, 7000, nobody},
        {{{10, 0, 0}, 7000}, {{20, 0, 0}, 0}, false, {10}, 7000, nobody},
        {{{10, 0, 12}, 7000}, {{20, 10, 0}, 7001}, false, {10, 12}, 7000, nobody},
    };
    for (const ReceiverRow& row : rows) {
        IDesktopReceiver* receiver = CreateDesktopReceiverUDP(
            notify, 77, row.peer.ips[0], row.peer.ips[1], row.peer.ips[2], row.peer.port, row.local.ips[0],
            row.local.ips[1], row.local.ips[2], row.local.port, row.peerOnly);
        ASSERT_NE(receiver, nullptr);
        const auto sent = host.TakeSent();
        EXPECT_EQ(sent.size(), row.to.size());
        for (const CSentDatagram& request : sent) {
            EXPECT_EQ(row.to.count(request.ip), 1U);
            EXPECT_EQ(request.port, row.port);
            EXPECT_EQ(request.bytes.substr(0, 2), Hex("052b"));
            EXPECT_EQ(request.bytes.substr(6), U32(77) + row.relay);
        }
        for (int poll = 0; poll < 5; ++poll) {
            EXPECT_TRUE(receiver->IsDisconnected());
            host.Run(1000, 1000);
        }
        EXPECT_TRUE(host.TakeSent().empty()) << "lost is lost";
        receiver->ReleaseConnections();
        EXPECT_FALSE(channel.HasDesktopReceiver());
    }
}

TEST_F(LocalMcuDesktop, ReceiverTakesDatagramsOfItsSinkOnlyAndKeepsNothingAlive) {
    IDesktopReceiver* receiver = SubscribeUDP();
    host.Deliver(Hex("052c") + receiverID + U32(600), 10, 7000);
    EXPECT_EQ(notify.connected, std::vector<unsigned long>{10});
    for (int poll = 0; poll < 30; ++poll) EXPECT_TRUE(receiver->IsDisconnected());
    EXPECT_TRUE(host.TakeSent().empty());
    const auto frame = [&](uint32_t sink, uint32_t ip, uint16_t port) {
        host.Deliver(Hex("052f") + receiverID + U32(sink) + session_wire::Data(0, "frame"), ip, port);
    };
    frame(601, 10, 7000);
    frame(600, 11, 7000);
    frame(600, 10, 7001);
    EXPECT_TRUE(notify.frames.empty());
    host.clock.Advance(1000000);
    frame(600, 10, 7000);
    EXPECT_EQ(notify.frames, std::vector<std::string>{"frame"}) << "however long nothing came";
    receiver->ReleaseConnections();
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

TEST_F(LocalMcuDesktop, TcpNamesTheFarServerWithItsPort) {
    const auto dial = [&](CMcuAddress peer, CMcuAddress local) -> CFakeTcp* {
        IDesktopReceiver* receiver =
            CreateDesktopReceiverTCP(notify, 77, peer.ips[0], peer.ips[1], peer.ips[2], peer.port, local.ips[0],
                                     local.ips[1], local.ips[2], local.port, 0, "", 0, "", "");
        if (!receiver) return nullptr;
        CFakeTcp& client = host.net.LastClient();
        client.clientNotify->OnTcpClientNotifyConnected();
        EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(11, U32(78).data(), 4));
        EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyValidate(99, U32(77).data(), 4));
        receiver->ReleaseConnections();
        return &client;
    };
    EXPECT_EQ(dial({{10, 0, 0}, 0}, {{1, 0, 0}, 7001}), nullptr);
    const CFakeTcp* near = dial({{0x0a000001, 0, 3}, 7000}, {{0x0a000002, 0, 0}, 7001});
    EXPECT_EQ(near->dialledHost, "10.0.0.2");
    EXPECT_EQ(near->sent.at(0).bytes,
              Hex("0000000b 00000012") + U32(77) + U32(0x0a000001) + U32(0) + U32(3) + Hex("1b58"));
    const CFakeTcp* far = dial({{0x0a000001, 0, 3}, 7000}, {{0, 0, 0}, 7001});
    EXPECT_EQ(far->dialledHost, "10.0.0.1");
    EXPECT_EQ(far->sent.at(0).bytes, Hex("0000000b 00000012") + U32(77) + std::string(14, '\0'));
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
