// Audio senders, byte for byte and poll by poll.
#include "audio_scene.h"
#include "lumomedia/statistics.h"

#include <gtest/gtest.h>

using namespace audio_scene;

namespace {

class AudioSenders : public testing::Test, protected CScene {};

TEST_F(AudioSenders, OverUdpFramesLeaveBetweenStartAndStop) {
    EXPECT_EQ(CreateAudioSenderUDP(notify, 77, 0, 0, 0, 7000), nullptr);
    EXPECT_EQ(CreateAudioSenderUDP(notify, 77, 1, 0, 0, 0), nullptr);
    EXPECT_EQ(CreateAudioSenderUDP(notify, 78, 1, 0, 0, 7000), nullptr);
    EXPECT_EQ(channel->GetAudioSinkCount(), 0U);
    EXPECT_EQ(GetLocalMCUAudio()->Tables().senders.Size(), 0U);
    EXPECT_TRUE(host.TakeSent().empty());

    IAudioSender* sender = CreateAudioSenderUDP(notify, 77, 10, 10, 11, 7000);
    const auto connect = host.TakeSent();
    ASSERT_EQ(connect.size(), 2U) << "each distinct address once";
    EXPECT_EQ(connect[0].ip, 10U);
    EXPECT_EQ(connect[1].ip, 11U);
    const std::string key = connect[0].bytes.substr(6);
    EXPECT_EQ(connect[0].bytes, Hex("0012") + U32(77) + key);

    host.Deliver(Hex("0014") + key + U32(4));
    Write("not connected");
    EXPECT_EQ(sender->GetSentFrameCount(), 0U);
    host.Deliver(Hex("0013") + key + U32(0) + U32(0), 10, 7000);  // no source
    host.Deliver(Hex("0013") + key + U32(500) + U32(0), 11, 7100);
    host.Deliver(Hex("0013") + key + U32(501) + U32(0), 10, 7000);  // a slower answer of the other address
    EXPECT_EQ(notify.connected, (std::vector<unsigned long>{11}));
    EXPECT_TRUE(host.TakeSent().empty());
    LumoLinkStatistics link;
    ASSERT_TRUE(GetLinkStatistics(0, link));
    const uint64_t signs = link.ullSignsOfLife;
    host.Deliver(Hex("0014") + key + U32(3));
    EXPECT_EQ(sender->GetStartParam(), 3U);
    ASSERT_TRUE(GetLinkStatistics(0, link));
    EXPECT_EQ(link.ulRemoteIP, 11U);
    EXPECT_EQ(link.ullSignsOfLife, signs + 1) << "the server lives";
    const auto answer = host.TakeSent();
    ASSERT_EQ(answer.size(), 1U);
    EXPECT_EQ(answer[0].bytes, Hex("0015") + U32(500));
    EXPECT_EQ(answer[0].ip, 11U);
    EXPECT_EQ(answer[0].port, 7100);

    for (const char* frame : {"22", "333"}) Write(frame);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{ToHex(Hex("0019") + U32(500) + "333")});
    EXPECT_EQ(sender->GetSentFrameCount(), 2U) << "the short one counts and does not go";
    sender->SetEnable(false);
    EXPECT_FALSE(sender->IsEnable());
    Write("off");
    sender->SetEnable(true);
    EXPECT_TRUE(host.TakeSent().empty()) << "the server hears nothing of it";
    host.Deliver(Hex("0016") + key);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>{ToHex(Hex("0017") + U32(500))});
    Write("stopped");
    EXPECT_TRUE(host.TakeSent().empty());
    EXPECT_EQ(sender->GetSentFrameCount(), 2U);
    sender->ReleaseConnections();
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(3, ToHex(Hex("0018") + U32(500))));
    EXPECT_FALSE(GetLinkStatistics(0, link));
    EXPECT_EQ(channel->GetAudioSinkCount(), 0U);
    host.Deliver(Hex("0014") + key + U32(3));  // late: nobody is there
    EXPECT_TRUE(host.TakeSent().empty());
}

TEST_F(AudioSenders, OverTcpControlBytesStartAndStop) {
    EXPECT_EQ(CreateAudioSenderTCP(notify, 77, 0, 0, 0, 7000, 0, "", 0, "", ""), nullptr);
    EXPECT_EQ(CreateAudioSenderTCP(notify, 77, 1, 0, 0, 0, 0, "", 0, "", ""), nullptr);
    host.net.refuseTcpClient = true;
    EXPECT_EQ(CreateAudioSenderTCP(notify, 77, 1, 0, 0, 7000, 0, "", 0, "", ""), nullptr);
    host.net.refuseTcpClient = false;
    EXPECT_EQ(channel->GetAudioSinkCount(), 0U);
    IAudioSender* sender = CreateAudioSenderTCP(notify, 77, 0, 9, 0, 7000, 2, "proxy", 1080, "user", "secret");
    CFakeTcp& client = host.net.LastClient();
    EXPECT_EQ(client.dialledHost, "0.0.0.0") << "address 0 and only that";
    EXPECT_EQ(client.proxy, "2 proxy 1080 user secret");
    EXPECT_EQ(client.maxAge, 1000U) << "what waits longer is dropped";
    client.clientNotify->OnTcpClientNotifyConnected();
    EXPECT_EQ(client.TakeSent().at(0).bytes, Hex("00000002 00000004") + U32(77));
    EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(2, U32(78).data(), 4));
    EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(2, nullptr, 4));
    EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(2, (U32(77) + "x").data(), 5));
    EXPECT_TRUE(notify.connected.empty());
    EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyValidate(99, U32(77).data(), 4));
    EXPECT_EQ(notify.connected, std::vector<unsigned long>{client.remoteIP});

    const auto arrives = [&](const std::string& frame) {
        EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size())));
        Write("x");
        return client.TakeSent().size();
    };
    const std::string start(1, '\0');
    EXPECT_EQ(arrives("\x02"), 0U);
    EXPECT_EQ(arrives(start + start), 0U) << "two bytes are no control byte";
    EXPECT_EQ(arrives(start), 1U);
    EXPECT_EQ(arrives("\x05"), 1U);
    EXPECT_EQ(arrives(std::string(1 << 20, '\x01')), 1U);
    EXPECT_EQ(arrives("\x01"), 0U);
    EXPECT_EQ(sender->GetSentFrameCount(), 3U);
    EXPECT_EQ(sender->GetStartParam(), 0U);
    sender->ReleaseConnections();
    EXPECT_TRUE(client.released);
}

}  // namespace
