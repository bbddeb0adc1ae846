// The file part of the local MCU: sinks that come and go, channels, factories, wire bytes.
#include "file/local_mcu_file.h"
#include "link/bounds/limits.h"
#include "link/process/mcu_services.h"
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
    void OnFileSenderNotifyConnected(unsigned long ip, bool) override { connected.push_back(ip); }
    void OnFileReceiverNotifyConnected(unsigned long ip) override { connected.push_back(ip); }
    void OnFileReceiverNotifyData(const char* data, int length) override {
        frames.emplace_back(data, static_cast<size_t>(length));
    }
    std::vector<unsigned long> connected;
    std::vector<std::string> frames;
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

TEST_F(LocalMcuFile, ARepeatedConnectIsAcknowledgedAgainAndMakesNoSecondSink) {
    ConnectSink(5);
    const auto first = host.TakeSent();
    ConnectSink(5);
    const auto second = host.TakeSent();
    ASSERT_EQ(first.size(), 2U);
    ASSERT_EQ(second.size(), 2U);
    EXPECT_EQ(first[0].bytes, second[1].bytes);
    EXPECT_EQ(first[0].bytes.substr(0, 6), Hex("063a") + U32(5));
    EXPECT_EQ(channel.GetFileSinkCount(), 1U);
    ConnectSink(6);
    EXPECT_EQ(channel.GetFileSinkCount(), 2U);
    host.TakeSent();
    ConnectSink(7, 78);
    host.Deliver(Hex("0639") + U32(7) + U32(77) + std::string(12, '\0'));  // the servers' form
    for (const char* ignored : {"0640", "0642", "0645", "0646"}) host.Deliver(Hex(ignored) + U32(77) + U32(1));
    EXPECT_TRUE(host.TakeSent().empty());
    EXPECT_EQ(channel.GetFileSinkCount(), 2U);
}

TEST_F(LocalMcuFile, RemovingAChannelEndsItsSinksOnly) {
    CChannel other(78);
    ConnectSink(5, 77);
    ConnectSink(6, 78);
    EXPECT_FALSE(channel.IsEmpty());
    channel.ReleaseConnections();
    EXPECT_EQ(channel.GetFileSinkCount(), 0U);
    EXPECT_TRUE(channel.IsEmpty());
    EXPECT_EQ(other.GetFileSinkCount(), 1U);
    ConnectSink(5, 77);
    EXPECT_EQ(channel.GetFileSinkCount(), 0U) << "no longer to be found";
    other.ReleaseConnections();
}

TEST_F(LocalMcuFile, AChannelThatIsDeletedIsForgottenUnlessAnotherTookItsID) {
    auto first = std::make_unique<CChannel>(90);
    auto second = std::make_unique<CChannel>(90);
    first.reset();
    ConnectSink(5, 90);
    EXPECT_EQ(second->GetFileSinkCount(), 1U);
    second.reset();
    EXPECT_EQ(GetLocalMCUFile()->Tables().sinks.Size(), 0U);
    host.TakeSent();
    ConnectSink(6, 90);
    EXPECT_TRUE(host.TakeSent().empty());
}

TEST_F(LocalMcuFile, SilentAndLaggingSinksGoWithTheSweep) {
    ConnectSink(5);
    ConnectSink(6);
    const uint32_t sink = ReadU32(host.TakeSent().at(2).bytes, 6);
    host.clock.Advance(100000);
    host.Deliver(Hex("063b") + U32(sink));
    host.clock.Advance(80001);
    host.manager->RunTurn();
    EXPECT_EQ(channel.GetFileSinkCount(), 1U);
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

TEST_F(LocalMcuFile, SenderWireBytesAndAddressRules) {
    EXPECT_EQ(CreateFileSenderUDP(notify, 77, 0, 0, 0, 7000), nullptr);
    EXPECT_EQ(CreateFileSenderUDP(notify, 77, 1, 0, 0, 0), nullptr);
    EXPECT_EQ(CreateFileSenderUDP(notify, 78, 1, 0, 0, 7000), nullptr);
    EXPECT_EQ(channel.GetFileSinkCount(), 0U);
    EXPECT_TRUE(host.TakeSent().empty());

    IFileSender* sender = CreateFileSenderUDP(notify, 77, 10, 10, 11, 7000);
    const auto connect = host.TakeSent();
    ASSERT_EQ(connect.size(), 2U) << "each distinct address once";
    EXPECT_EQ(connect[0].ip, 10U);
    EXPECT_EQ(connect[1].ip, 11U);
    EXPECT_EQ(connect[1].port, 7000);
    const std::string key = connect[0].bytes.substr(6);
    EXPECT_EQ(connect[0].bytes, Hex("0640") + U32(77) + key);

    channel.OnFileChannelData("early", 5);
    EXPECT_EQ(host.TakeSent().at(0).ip, 0U) << "nowhere yet";
    host.Deliver(Hex("0641") + key + U32(500) + U32(9), 11, 7100);
    host.Deliver(Hex("0641") + key + U32(501) + U32(9), 10, 7000);  // a slower answer of the other address
    EXPECT_EQ(notify.connected, (std::vector<unsigned long>{11}));
    host.Run(200);
    const auto frame = host.TakeSent();
    ASSERT_EQ(frame.size(), 1U);
    EXPECT_EQ(frame[0].ip, 11U);
    EXPECT_EQ(frame[0].port, 7100);
    EXPECT_EQ(frame[0].bytes, Hex("0642") + U32(500) + session_wire::Data(0, "early"));
    host.Deliver(Hex("0644") + key);
    EXPECT_EQ(host.TakeSentHex(), (std::vector<std::string>{ToHex(Hex("0645") + U32(500))}));
    sender->ReleaseConnections();
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(3, ToHex(Hex("0646") + U32(500))));
    host.Deliver(Hex("0643") + key + session_wire::Ack(0));  // late: nobody is there
    EXPECT_EQ(channel.GetFileSinkCount(), 0U);
}

struct ReceiverRow {
    CMcuAddress peer, local;
    bool peerOnly;
    std::vector<uint32_t> to;
    uint16_t port;
    std::vector<uint32_t> relay;
    uint32_t timeout;
};

TEST_F(LocalMcuFile, ReceiverAsksTheRightServerAndWaitsItsTime) {
    const ReceiverRow rows[] = {
        {{{10, 11, 0}, 7000}, {{20, 0, 0}, 7001}, false, {20}, 7001, {10, 11, 0}, 30000},
        {{{10, 11, 10}, 7000}, {{20, 0, 0}, 7001}, true, {10, 11}, 7000, {0, 0, 0}, 4000},
        {{{10, 0, 0}, 7000}, {{20, 0, 0}, 0}, false, {10}, 7000, {0, 0, 0}, 30000},
        {{{10, 0, 12}, 7000}, {{20, 10, 0}, 7001}, false, {10, 12}, 7000, {0, 0, 0}, 30000},
        {{{0, 0, 0}, 0}, {{0, 0, 0}, 0}, false, {}, 0, {}, 30000},  // nothing to ask: it times out
    };
    for (const ReceiverRow& row : rows) {
        IFileReceiver* receiver =
            CreateFileReceiverUDP(notify, 77, row.peer.ips[0], row.peer.ips[1], row.peer.ips[2], row.peer.port,
                                  row.local.ips[0], row.local.ips[1], row.local.ips[2], row.local.port, row.peerOnly);
        ASSERT_NE(receiver, nullptr);
        const auto sent = host.TakeSent();
        ASSERT_EQ(sent.size(), row.to.size());
        for (size_t i = 0; i < sent.size(); ++i) {
            EXPECT_EQ(sent[i].ip, row.to[i]);
            EXPECT_EQ(sent[i].port, row.port);
            EXPECT_EQ(sent[i].bytes.substr(0, 2), Hex("0639"));
            EXPECT_EQ(sent[i].bytes.substr(6), U32(77) + U32(row.relay[0]) + U32(row.relay[1]) + U32(row.relay[2]));
        }
        EXPECT_TRUE(channel.HasFileReceiver());
        host.clock.Advance(row.timeout);
        EXPECT_FALSE(receiver->IsDisconnected());
        host.clock.Advance(1);
        EXPECT_TRUE(receiver->IsDisconnected());
        host.TakeSent();
        receiver->ReleaseConnections();
        EXPECT_TRUE(host.TakeSent().empty());
        EXPECT_FALSE(channel.HasFileReceiver());
    }
}

TEST_F(LocalMcuFile, ReceiverTakesDatagramsOfItsSinkOnly) {
    IFileReceiver* receiver = CreateFileReceiverUDP(notify, 77, 10, 0, 0, 7000, 0, 0, 0, 0, true);
    const std::string id = host.TakeSent().at(0).bytes.substr(2, 4);
    host.Deliver(Hex("063a") + id + U32(600), 10, 7000);
    host.TakeSent();
    uint16_t sequence = 0;
    const auto frame = [&](uint32_t sink, uint32_t ip, uint16_t port) {
        host.Deliver(Hex("063d") + id + U32(sink) + session_wire::Data(sequence, "frame"), ip, port);
    };
    frame(601, 10, 7000);
    frame(600, 11, 7000);
    frame(600, 10, 7001);
    EXPECT_TRUE(notify.frames.empty());
    EXPECT_TRUE(host.TakeSent().empty());
    frame(600, 10, 7000);
    EXPECT_EQ(notify.frames.size(), 1U);
    EXPECT_EQ(host.TakeSent().size(), 1U);
    // A keep-alive answer from elsewhere is no sign of life; one from the sink is.
    host.clock.Advance(180000);
    host.Deliver(Hex("063c") + id + U32(600), 10, 7001);
    host.clock.Advance(1);
    EXPECT_TRUE(receiver->IsDisconnected());
    receiver->ReleaseConnections();
}

TEST_F(LocalMcuFile, TcpDialsAddressZeroOfTheChosenServer) {
    const auto dial = [&](CMcuAddress peer, CMcuAddress local) -> CFakeTcp* {
        IFileReceiver* receiver =
            CreateFileReceiverTCP(notify, 77, peer.ips[0], peer.ips[1], peer.ips[2], peer.port, local.ips[0],
                                  local.ips[1], local.ips[2], local.port, 3, "proxy", 1080, "user", "secret");
        if (!receiver) return nullptr;
        CFakeTcp& client = host.net.LastClient();
        client.clientNotify->OnTcpClientNotifyConnected();
        EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(13, U32(78).data(), 4));
        EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(13, nullptr, 4));
        EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(13, U32(77).data(), 3));
        EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyValidate(99, U32(77).data(), 4))
            << "the type is not looked at";
        receiver->ReleaseConnections();
        return &client;
    };
    EXPECT_EQ(dial({{0, 0, 0}, 7000}, {{1, 0, 0}, 7001}), nullptr);
    EXPECT_EQ(dial({{10, 0, 0}, 0}, {{1, 0, 0}, 7001}), nullptr);
    EXPECT_FALSE(channel.HasFileReceiver());
    const CFakeTcp* near = dial({{0x0a000001, 0, 3}, 7000}, {{0x0a000002, 0, 0}, 7001});
    EXPECT_EQ(near->dialledHost, "10.0.0.2");
    EXPECT_EQ(near->dialledPort, 7001);
    EXPECT_EQ(near->proxy, "3 proxy 1080 user secret");
    EXPECT_EQ(near->sent.at(0).bytes, Hex("0000000d 00000010") + U32(77) + U32(0x0a000001) + U32(0) + U32(3));
    const CFakeTcp* far = dial({{0x0a000001, 0, 3}, 7000}, {{0, 0, 0}, 7001});
    EXPECT_EQ(far->dialledHost, "10.0.0.1");
    EXPECT_EQ(far->sent.at(0).bytes, Hex("0000000d 00000010") + U32(77) + std::string(12, '\0'));
    EXPECT_EQ(notify.connected.size(), 2U);
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
    receiver->ReleaseConnections();
}

}  // namespace
