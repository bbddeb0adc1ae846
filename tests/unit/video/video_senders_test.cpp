// Video senders: key frames, asked for and sent.
#include "video_scene.h"

#include <gtest/gtest.h>

using namespace video_scene;

namespace {

class VideoSenders : public testing::Test, protected CScene {};

TEST_F(VideoSenders, OverUdpRequestsArriveAndKeyFramesClearTheWay) {
    IVideoSender* sender = CreateVideoSenderUDP(notify, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
    const std::string key = host.TakeSent().at(0).bytes.substr(6);
    host.Deliver(Hex("011c") + key + U32(500) + U32(0));
    host.Deliver(Hex("011d") + key + U32(3));
    EXPECT_EQ(sender->GetStartParam(), 3U);
    Write(Key(4));
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
    EXPECT_FALSE(channel->HasKeyFrameRequest()) << "those of servers come otherwise";
    sender->ReleaseConnections();
}

TEST_F(VideoSenders, OverTcpFramesAreNumberedAndKeyFramesClearTheWay) {
    IVideoSender* sender = CreateVideoSenderTCP(notify, 77, 10, 0, 0, 7000, 0, "", 0, "", "");
    CFakeTcp& client = host.net.LastClient();
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
}

}  // namespace
