// Video receivers: what they ask for, what they tell, what they take.
#include "video_scene.h"

#include "lumomedia/statistics.h"

#include <gtest/gtest.h>

using namespace video_scene;

namespace {

class VideoReceivers : public testing::Test, protected CScene {
protected:
    /// Asked at 10:7000 and acknowledged from there with sink ID 600.
    IVideoReceiver* Connected() {
        IVideoReceiver* receiver = CreateVideoReceiverUDP(notify, 77, 10, 0, 0, 7000, 0, 0, 0, 0, 0x0102);
        id = host.TakeSent().at(0).bytes.substr(2, 4);
        host.Deliver(Hex("010a") + id + U32(600), 10, 7000);
        EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(2, ToHex(Hex("010b") + U32(600))));
        return receiver;
    }
    void FromSink(const std::string& packet, uint32_t sink = 600, uint32_t ip = 10, uint16_t port = 7000) {
        host.Deliver(Hex("010f") + id + U32(sink) + packet, ip, port);
    }
    uint8_t AdvertisedWindow() {
        host.TakeSent();
        FromSink(Data(m_usNext++, "any"));
        return static_cast<uint8_t>(host.TakeSent().at(0).bytes.at(6 + 3)) >> 3;
    }

    std::string id;

private:
    uint16_t m_usNext = 0;
};

TEST_F(VideoReceivers, AskOverBothTransports) {
    const std::string fields = U32(77) + U32(10) + U32(0) + U32(11) + Hex("1b58") + U32(0x0102);
    IVideoReceiver* receiver = CreateVideoReceiverUDP(notify, 77, 10, 0, 11, 7000, 20, 0, 0, 7001, 0x0102);
    const auto sent = host.TakeSent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].ip, 20U);
    EXPECT_EQ(sent[0].bytes.substr(0, 2) + sent[0].bytes.substr(6), Hex("0109") + fields);
    EXPECT_EQ(GetLocalMCUVideo()->Tables().receivers.Size(), 1U);
    receiver->ReleaseConnections();
    EXPECT_EQ(GetLocalMCUVideo()->Tables().receivers.Size(), 0U);
    receiver =
        CreateVideoReceiverTCP(notify, 77, 10, 0, 11, 7000, 20, 0, 0, 7001, 0x0102, 3, "proxy", 1080, "user", "secret");
    CFakeTcp& client = host.net.LastClient();
    EXPECT_EQ(client.proxy, "3 proxy 1080 user secret");
    client.clientNotify->OnTcpClientNotifyConnected();
    EXPECT_EQ(client.sent.at(0).bytes, Hex("00000008 00000016") + fields);
    receiver->ReleaseConnections();
    EXPECT_EQ(CreateVideoReceiverTCP(notify, 77, 0, 0, 0, 7000, 1, 0, 0, 1, 1, 0, "", 0, "", ""), nullptr);
    EXPECT_EQ(CreateVideoReceiverTCP(notify, 77, 1, 0, 0, 0, 1, 0, 0, 1, 1, 0, "", 0, "", ""), nullptr);
}

TEST_F(VideoReceivers, DeliverFramesWholeInOrderAndOnce) {
    IVideoReceiver* receiver = Connected();
    const std::string frame = Key(1040) + Delta(20);
    const std::string first = session_wire::Packet(0, 0, 0x04, frame.substr(0, 1040));
    const std::string second = session_wire::Packet(1, 0, 0x02, frame.substr(1040));
    FromSink(first, 601);
    FromSink(first, 600, 11);
    FromSink(first, 600, 10, 7001);
    EXPECT_TRUE(host.TakeSent().empty()) << "only its own sink is answered";
    FromSink(Data(2, "next"));
    FromSink(second);
    EXPECT_TRUE(notify.frames.empty());
    FromSink(first);
    FromSink(first);
    EXPECT_EQ(notify.frames, (std::vector<std::string>{frame, "next"}));
    const auto acks = host.TakeSent();
    ASSERT_EQ(acks.size(), 4U);
    for (const CSentDatagram& ack : acks) EXPECT_EQ(ack.bytes.substr(0, 6), Hex("0110") + U32(600));
    receiver->SetEnable(false);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(2, ToHex(Hex("010d") + U32(600))));
    receiver->ReleaseConnections();
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(3, ToHex(Hex("0111") + U32(600))));
}

TEST_F(VideoReceivers, AskForAKeyFrameWheneverTheyAreToldToAndOnlyThen) {
    IVideoReceiver* receiver = Connected();
    const std::string zero(1, '\0');
    const auto request = [&](uint16_t sequence) { return ToHex(Hex("0110") + U32(600) + Data(sequence, zero)); };
    receiver->RequestKeyFrame();
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{request(0)});
    host.Run(5000, 50);
    EXPECT_TRUE(host.TakeSent().empty()) << "the worker does not repeat it";
    receiver->RequestKeyFrame();
    EXPECT_EQ(host.TakeSentHex(), (std::vector<std::string>{request(0), request(1)}));
    FromSink(Ack(1));
    receiver->RequestKeyFrame();
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{request(2)});
    for (int i = 0; i < 10000; ++i) receiver->RequestKeyFrame();
    LumoLinkStatistics statistics;
    ASSERT_TRUE(GetLinkStatistics(0, statistics));
    EXPECT_LE(statistics.ullFramesSent, 200U) << "unanswered questions do not pile up";
    receiver->ReleaseConnections();
}

TEST_F(VideoReceivers, AdjustTheWindowThatTheyAdvertise) {
    IVideoReceiver* receiver = Connected();
    EXPECT_EQ(AdvertisedWindow(), 160 & 31);
    const std::pair<bool, int> rows[] = {
        {true, 160}, {false, 80}, {false, 40}, {false, 20}, {false, 16}, {true, 20},  {true, 25},  {true, 31},
        {true, 38},  {true, 47},  {true, 58},  {true, 72},  {true, 90},  {true, 112}, {true, 140}, {true, 160},
    };
    for (const auto& [increase, size] : rows) {
        receiver->AdjustWindowSize(increase);
        EXPECT_EQ(AdvertisedWindow(), size & 31) << size;
    }
    receiver->ReleaseConnections();
}

TEST_F(VideoReceivers, OverTcpControlBytesJoinTheQueue) {
    IVideoReceiver* receiver = CreateVideoReceiverTCP(notify, 77, 10, 0, 0, 7000, 0, 0, 0, 0, 9, 0, "", 0, "", "");
    CFakeTcp& client = host.net.LastClient();
    client.clientNotify->OnTcpClientNotifyConnected();
    client.TakeSent();
    const auto sent = [&] {
        std::string bytes;
        for (const CSentMessage& message : client.TakeSent()) bytes += message.bytes;
        return bytes;
    };
    for (int poll = 1; poll <= 12; ++poll) EXPECT_FALSE(receiver->IsDisconnected());
    EXPECT_EQ(sent(), "\x04") << "the server has not answered yet, and still the keep-alive is video's";
    EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyValidate(8, (U32(77) + U32(600)).data(), 8));
    EXPECT_EQ(sent(), "\x04");
    client.queued = 5;
    receiver->SetEnable(false);
    EXPECT_EQ(sent(), "\x05");
    EXPECT_EQ(client.queued, 5U) << "what waits stays";
    client.queued = 0;
    for (int poll = 1; poll < 12; ++poll) EXPECT_FALSE(receiver->IsDisconnected());
    receiver->RequestKeyFrame();
    EXPECT_EQ(sent(), "\x06");
    for (int poll = 1; poll <= 12; ++poll) EXPECT_FALSE(receiver->IsDisconnected());
    EXPECT_EQ(sent(), "\x05") << "counted anew, and it is the state that is repeated";
    receiver->AdjustWindowSize(false);
    EXPECT_EQ(sent(), "");
    client.clientNotify->OnTcpClientNotifyReceivedFrame("x", 1);
    client.clientNotify->OnTcpClientNotifyReceivedFrame("xy", 2);
    EXPECT_EQ(notify.frames, std::vector<std::string>{"xy"});
    receiver->ReleaseConnections();
}

}  // namespace
