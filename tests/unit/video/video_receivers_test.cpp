// Video receivers: requests for key frames, and the window.
#include "video_scene.h"

#include "lumomedia/statistics.h"

#include <gtest/gtest.h>

using namespace video_scene;

namespace {

class VideoReceivers : public testing::Test, protected CScene {
protected:
    /// Acknowledged with sink ID 600.
    IVideoReceiver* Connected() {
        IVideoReceiver* receiver =
            CreateVideoReceiverUDP(notify, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0, 0, 1);
        id = host.TakeSent().at(0).bytes.substr(2, 4);
        host.Deliver(Hex("010a") + id + U32(600));
        host.TakeSent();
        return receiver;
    }
    void FromSink(const std::string& packet) { host.Deliver(Hex("010f") + id + U32(600) + packet); }
    uint8_t AdvertisedWindow() {
        host.TakeSent();
        FromSink(Data(m_usNext++, "any"));
        return static_cast<uint8_t>(host.TakeSent().at(0).bytes.at(6 + 3)) >> 3;
    }

    std::string id;

private:
    uint16_t m_usNext = 0;
};

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

TEST_F(VideoReceivers, OverTcpTheRequestForAKeyFrameCountsTheKeepAliveAnew) {
    IVideoReceiver* receiver = CreateVideoReceiverTCP(notify, 77, 10, 0, 0, 7000, 0, 0, 0, 0, 9, 0, "", 0, "", "");
    CFakeTcp& client = host.net.LastClient();
    client.clientNotify->OnTcpClientNotifyValidate(8, (U32(77) + U32(600)).data(), 8);
    receiver->SetEnable(false);
    for (int poll = 1; poll < 12; ++poll) EXPECT_FALSE(receiver->IsDisconnected());
    client.TakeSent();
    receiver->RequestKeyFrame();
    receiver->AdjustWindowSize(false);
    for (int poll = 1; poll <= 12; ++poll) EXPECT_FALSE(receiver->IsDisconnected());
    ASSERT_EQ(client.sent.size(), 2U);
    EXPECT_EQ(client.sent[0].bytes, "\x06");
    EXPECT_EQ(client.sent[1].bytes, "\x05") << "it is the state that is repeated";
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

}  // namespace
