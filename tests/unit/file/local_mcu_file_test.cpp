// The file part of the local MCU: how much waits for subscribers, and who of them gives way.
#include "file/local_mcu_file.h"
#include "link/bounds/limits.h"
#include "lumomedia/file.h"
#include "support/session_wire.h"
#include "support/test_manager.h"

#include <gtest/gtest.h>

using session_wire::ReadU32;
using session_wire::U32;

namespace {

class CChannel : public CFileChannel {
public:
    explicit CChannel(uint32_t id) : CFileChannel(id) { Connect(); }
    void OnFileSinkData(const void*, int) override {}
};

class CNotify final : public IFileSenderNotify, public IFileReceiverNotify {
public:
    void OnFileSenderNotifyConnected(unsigned long, bool) override {}
    void OnFileReceiverNotifyConnected(unsigned long) override {}
    void OnFileReceiverNotifyData(const char*, int) override {}
};

class LocalMcuFile : public testing::Test {
protected:
    ~LocalMcuFile() override { channel.ReleaseConnections(); }
    void ConnectSink(uint32_t receiver, uint32_t channelID = 77, uint32_t ip = CTestHost::kPeerIP) {
        host.Deliver(Hex("0639") + U32(receiver) + U32(channelID), ip);
    }
    /// A validated one; 0 when its request was not answered.
    uint32_t ValidatedSink(uint32_t receiver, uint32_t channelID = 77, uint32_t ip = CTestHost::kPeerIP) {
        host.TakeSent();
        ConnectSink(receiver, channelID, ip);
        const auto answers = host.TakeSent();
        if (answers.empty()) return 0;
        const uint32_t sink = ReadU32(answers.at(0).bytes, 6);
        host.Deliver(Hex("063b") + U32(sink), ip);
        return sink;
    }

    CTestHost host;
    CNotify notify;
    CChannel channel{77};
};

TEST_F(LocalMcuFile, LaggingSinksGoWithTheSweep) {
    ValidatedSink(5);
    const std::string frame(32 * 1024 * 1024, 'x');
    for (int i = 0; i < 10; ++i) channel.OnFileChannelData(frame.data(), static_cast<int>(frame.size()));
    host.clock.Advance(1001);
    host.manager->RunTurn();
    EXPECT_EQ(channel.GetFileSinkCount(), 0U);
}

// Anybody may subscribe as often as he likes and read nothing: that takes from his own address alone.
TEST_F(LocalMcuFile, TheMoreSinksAnAddressHasTheLessMayWaitAtEach) {
    constexpr uint32_t kOther = 0x0a000003;
    const std::string frame(8 * 1024 * 1024, 'x');
    const auto lag = [&](int frames) {
        for (int i = 0; i < frames; ++i) channel.OnFileChannelData(frame.data(), static_cast<int>(frame.size()));
        host.Run(1001, 1001);
    };
    CChannel idle(78);
    ValidatedSink(0);
    lag(4);
    EXPECT_EQ(channel.GetFileSinkCount(), 1U) << "alone it has time";
    for (uint32_t i = 1; i < 128; ++i) ValidatedSink(i, 78, kOther);
    for (uint32_t i = 128; i < 168; ++i) ConnectSink(i, 78);  // who only says so takes nothing
    host.Run(1001, 1001);
    EXPECT_EQ(channel.GetFileSinkCount(), 1U) << "others have their own quota";
    for (uint32_t i = 200; i < 300; ++i) ValidatedSink(i, 78);
    host.Run(1001, 1001);
    host.Run(1001, 1001);
    EXPECT_EQ(channel.GetFileSinkCount(), 0U) << "one that came earlier shares, too";
    ValidatedSink(0);
    lag(3);
    EXPECT_EQ(channel.GetFileSinkCount(), 0U);
    idle.ReleaseConnections();
}

TEST_F(LocalMcuFile, AnUnvalidatedSinkGetsOneWindowAndNothingMore) {
    const std::string frame(300000, 'x');
    const auto packets = [&] {
        size_t count = 0;
        for (const CSentDatagram& datagram : host.TakeSent()) count += datagram.bytes.substr(0, 2) == Hex("063d");
        return count;
    };
    ConnectSink(5);
    const uint32_t sink = ReadU32(host.TakeSent().at(0).bytes, 6);
    channel.OnFileChannelData("short", 5);
    host.Run(900);
    EXPECT_EQ(packets(), 3U) << "what is lost is repeated";
    channel.OnFileChannelData(frame.data(), 300000);
    host.Run(179000, 10);
    EXPECT_EQ(packets(), 157U);
    host.Deliver(Hex("063b") + U32(sink), CTestHost::kPeerIP, 1);
    host.Run(100);
    EXPECT_EQ(packets(), 0U) << "a datagram from elsewhere shows nothing";
    host.Deliver(Hex("063b") + U32(sink));
    host.Run(1001);
    EXPECT_GT(packets(), 0U);
}

TEST_F(LocalMcuFile, TheOldestUnvalidatedSinkGivesWay) {
    const auto count = [] { return GetLocalMCUFile()->Tables().sinks.Size(); };
    const uint32_t validated = ValidatedSink(1);
    for (uint32_t i = 0; i < 10 * limits::kUnvalidatedPerAddress; ++i) ConnectSink(100 + i);
    EXPECT_EQ(count(), 1 + limits::kUnvalidatedPerAddress);
    for (uint32_t i = 0; i < 2 * limits::kMaxUnvalidated; ++i) ConnectSink(10000 + i, 77, 0x0b000000 + i);
    EXPECT_EQ(count(), 1 + limits::kMaxUnvalidated);
    for (uint32_t i = 0; i < limits::kMaxSinks; ++i) ValidatedSink(20000 + i);
    EXPECT_EQ(count(), limits::kMaxSinks);
    host.TakeSent();
    ConnectSink(99999);
    EXPECT_TRUE(host.TakeSent().empty()) << "a table full of those who are there answers nobody new";
    ConnectSink(1);
    EXPECT_EQ(ReadU32(host.TakeSent().at(1).bytes, 6), validated) << "those who are in are answered";
    EXPECT_FALSE(host.net.TcpServer().Validate(&host.net.NewSession(), 13, U32(77)));
}

TEST_F(LocalMcuFile, WhatIsWrittenEarlyReachesTheServerOnceItAnswers) {
    IFileSender* sender = CreateFileSenderUDP(notify, 77, 10, 0, 11, 7000);
    const std::string key = host.TakeSent().at(0).bytes.substr(6);
    channel.OnFileChannelData("early", 5);
    EXPECT_EQ(host.TakeSent().at(0).ip, 0U) << "nowhere yet";
    host.Deliver(Hex("0641") + key + U32(500) + U32(9), 11, 7100);
    host.Run(200);
    const auto frame = host.TakeSent();
    ASSERT_EQ(frame.size(), 1U);
    EXPECT_EQ(frame[0].ip, 11U);
    EXPECT_EQ(frame[0].bytes, Hex("0642") + U32(500) + session_wire::Data(0, "early"));
    sender->ReleaseConnections();
}

TEST_F(LocalMcuFile, FramesOfTheLocalChannelGoToSinksAndUpThroughTheReceiver) {
    ConnectSink(5);
    IFileReceiver* receiver = CreateFileReceiverUDP(notify, 77, 10, 0, 0, 7000, 0, 0, 0, 0, true);
    const std::string id = host.TakeSent().at(2).bytes.substr(2, 4);
    host.Deliver(Hex("063a") + id + U32(600), 10, 7000);
    host.TakeSent();
    channel.OnFileChannelData("both", 4);
    const auto sent = host.TakeSent();
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0].bytes.substr(0, 2), Hex("063d"));
    EXPECT_EQ(sent[1].bytes.substr(0, 6), Hex("063e") + U32(600));
    channel.OnFileChannelData("wait", 4);
    EXPECT_EQ(channel.GetBufferingFrameCount(), 1U);
    EXPECT_TRUE(channel.HasFileReceiver());
    receiver->ReleaseConnections();
    EXPECT_FALSE(channel.HasFileReceiver());
}

}  // namespace
