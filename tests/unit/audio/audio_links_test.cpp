// Audio senders and receivers, where they are not as those of video.
#include "audio_scene.h"

#include <gtest/gtest.h>

using namespace audio_scene;

namespace {

class AudioLinks : public testing::Test, protected CScene {};

TEST_F(AudioLinks, OverUdpASenderCountsTheFramesThatTheServerWanted) {
    IAudioSender* sender = CreateAudioSenderUDP(notify, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort);
    const std::string key = host.TakeSent().at(0).bytes.substr(6);
    host.Deliver(Hex("0014") + key + U32(4));
    Write("not connected");
    EXPECT_EQ(sender->GetSentFrameCount(), 0U);
    host.Deliver(Hex("0013") + key + U32(500) + U32(0));
    host.Deliver(Hex("0014") + key + U32(3));
    EXPECT_EQ(sender->GetStartParam(), 3U);
    host.TakeSent();
    for (const char* frame : {"22", "333"}) Write(frame);
    EXPECT_EQ(host.TakeSent().size(), 1U);
    EXPECT_EQ(sender->GetSentFrameCount(), 2U) << "the short one counts and does not go";
    host.Deliver(Hex("0016") + key);
    Write("stopped");
    EXPECT_EQ(sender->GetSentFrameCount(), 2U);
    sender->ReleaseConnections();
}

TEST_F(AudioLinks, AReceiverTakesEachFrameAsItComes) {
    IAudioReceiver* receiver =
        CreateAudioReceiverUDP(notify, 77, CTestHost::kPeerIP, 0, 0, CTestHost::kPeerPort, 0, 0, 0, 0, 1);
    const std::string id = host.TakeSent().at(0).bytes.substr(2, 4);
    host.Deliver(Hex("0001") + id + U32(600));
    for (const char* one : {"b", "a", "a"}) host.Deliver(Hex("0002") + id + U32(600) + one);
    EXPECT_EQ(notify.frames, (std::vector<std::string>{"b", "a", "a"}));
    receiver->ReleaseConnections();
}

TEST_F(AudioLinks, OverTcpControlBytesStartAndStop) {
    IAudioSender* sender = CreateAudioSenderTCP(notify, 77, 10, 0, 0, 7000, 0, "", 0, "", "");
    CFakeTcp& client = host.net.LastClient();
    EXPECT_EQ(client.maxAge, 1000U) << "what waits longer is dropped";
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
}

}  // namespace
