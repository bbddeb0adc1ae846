// Video senders, byte for byte.
#include "video_scene.h"

#include "lumomedia/statistics.h"

#include <gtest/gtest.h>

using namespace video_scene;

namespace {

class VideoSenders : public testing::Test, protected CScene {};

TEST_F(VideoSenders, OverUdpFramesLeaveBetweenStartAndStopAndRequestsArrive) {
    EXPECT_EQ(CreateVideoSenderUDP(notify, 77, 0, 0, 0, 7000), nullptr);
    EXPECT_EQ(CreateVideoSenderUDP(notify, 77, 1, 0, 0, 0), nullptr);
    EXPECT_EQ(CreateVideoSenderUDP(notify, 78, 1, 0, 0, 7000), nullptr);
    EXPECT_EQ(channel->GetVideoSinkCount(), 0U);
    EXPECT_EQ(GetLocalMCUVideo()->Tables().senders.Size(), 0U);
    LumoLinkStatistics statistics;
    EXPECT_FALSE(GetLinkStatistics(0, statistics));

    IVideoSender* sender = CreateVideoSenderUDP(notify, 77, 10, 10, 11, 7000);
    const auto connect = host.TakeSent();
    ASSERT_EQ(connect.size(), 2U) << "each distinct address once";
    const std::string key = connect[0].bytes.substr(6);
    EXPECT_EQ(connect[0].bytes, Hex("011b") + U32(77) + key);
    host.Deliver(Hex("011d") + key + U32(4));
    Write(Key(4));
    EXPECT_EQ(channel->GetBufferingFrameCount(), 0U) << "not connected";
    host.Deliver(Hex("011c") + key + U32(500) + U32(0), 11, 7100);
    host.Deliver(Hex("011c") + key + U32(501) + U32(0), 10, 7000);  // a slower answer of the other address
    EXPECT_EQ(notify.connected, (std::vector<unsigned long>{11}));
    host.Deliver(Hex("011d") + key + U32(3));
    EXPECT_EQ(sender->GetStartParam(), 3U);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{ToHex(Hex("011e") + U32(500))});

    Write(Key(3));
    EXPECT_TRUE(host.TakeSent().empty());
    Write(Key(4));
    const auto sent = host.TakeSent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].bytes, Hex("0121") + U32(500) + Data(0, Key(4)));
    EXPECT_EQ(sent[0].ip, 11U);
    EXPECT_EQ(sent[0].port, 7100);
    ASSERT_TRUE(GetLinkStatistics(0, statistics));
    EXPECT_EQ(statistics.ulLinkID, 500U);
    EXPECT_EQ(statistics.byKind, 1U);

    const std::string zero(1, '\0');
    uint16_t sequence = 0;
    for (const std::string& frame : {zero, std::string("\1"), zero + zero, std::string("\6")}) {
        host.Deliver(Hex("0122") + key + Data(sequence++, frame));
        EXPECT_EQ(notify.keyFrameRequests, 1) << sequence;
    }
    host.TakeSent();
    for (int i = 0; i < 10; ++i) Write(Delta(4));
    Write(Key(4));
    EXPECT_EQ(channel->GetBufferingFrameCount(), 11U) << "ten wait";
    Write(Key(4));
    EXPECT_EQ(channel->GetBufferingFrameCount(), 1U) << "eleven wait";
    host.Deliver(Hex("0122") + key + Ack(0));
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{ToHex(Hex("0121") + U32(500) + Data(1, Key(4)))});
    sender->SetEnable(false);
    Write(Key(4));
    sender->SetEnable(true);
    host.Deliver(Hex("011f") + key);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{ToHex(Hex("0120") + U32(500))});
    Write(Key(4));
    EXPECT_EQ(GetLocalMCUVideo()->Tables().senders.Size(), 1U);
    EXPECT_FALSE(channel->HasKeyFrameRequest()) << "those of servers come otherwise";
    sender->ReleaseConnections();
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(3, ToHex(Hex("0123") + U32(500))));
    EXPECT_EQ(channel->GetVideoSinkCount(), 0U);
    EXPECT_FALSE(GetLinkStatistics(0, statistics));
}

TEST_F(VideoSenders, OverTcpFramesAreNumberedAndKeyFramesClearTheWay) {
    EXPECT_EQ(CreateVideoSenderTCP(notify, 77, 0, 0, 0, 7000, 0, "", 0, "", ""), nullptr);
    EXPECT_EQ(CreateVideoSenderTCP(notify, 77, 1, 0, 0, 0, 0, "", 0, "", ""), nullptr);
    EXPECT_EQ(CreateVideoSenderTCP(notify, 78, 1, 0, 0, 7000, 0, "", 0, "", ""), nullptr);
    IVideoSender* sender = CreateVideoSenderTCP(notify, 77, 10, 0, 0, 7000, 2, "proxy", 1080, "user", "secret");
    CFakeTcp& client = host.net.LastClient();
    EXPECT_EQ(client.proxy, "2 proxy 1080 user secret");
    client.clientNotify->OnTcpClientNotifyConnected();
    EXPECT_EQ(client.TakeSent().at(0).bytes, Hex("00000007 00000004") + U32(77));
    EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyValidate(7, U32(77).data(), 4));

    const auto arrives = [&](const std::string& frame) {
        EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size())));
        Write(Delta(4));
        return client.TakeSent().size();
    };
    EXPECT_EQ(arrives(std::string(1, '\0')), 0U) << "what starts audio";
    EXPECT_EQ(arrives("\x04\x04"), 0U);
    EXPECT_EQ(arrives("\x06"), 0U);
    EXPECT_EQ(notify.keyFrameRequests, 1);
    EXPECT_EQ(arrives("\x04"), 1U);
    EXPECT_EQ(arrives("\x01"), 1U) << "what stops audio";
    EXPECT_EQ(notify.keyFrameRequests, 1);
    Write(Key(3));
    EXPECT_TRUE(client.TakeSent().empty());
    client.queued = 5;
    std::string frame = Delta(4) + "rest";
    channel->OnVideoChannelData(frame.data(), 8);
    EXPECT_EQ(frame, Hex("00 0002 00") + "rest") << "in the caller's own buffer";
    EXPECT_EQ(client.queued, 5U);
    Write(Key(5));
    EXPECT_EQ(client.queued, 0U);
    EXPECT_EQ(client.TakeSent().at(1).bytes, "K" + Hex("0003") + "KK");
    for (int i = 4; i < 65535; ++i) Write(Delta(4));
    client.TakeSent();
    Write(Delta(4));
    Write(Delta(4));
    EXPECT_EQ(client.sent.at(0).bytes, Hex("00 ffff 00"));
    EXPECT_EQ(client.sent.at(1).bytes, Hex("00 0000 00"));
    client.TakeSent();
    EXPECT_EQ(arrives("\x05"), 0U);
    sender->ReleaseConnections();
    EXPECT_TRUE(client.released);
}

}  // namespace
