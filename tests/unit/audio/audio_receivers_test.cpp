// Audio receivers: whom they ask, what they tell, what they take.
#include "audio_scene.h"

#include "link/mcu_address.h"
#include "lumomedia/p2p.h"
#include "support/p2p_peer.h"

#include <gtest/gtest.h>

using namespace audio_scene;

namespace {

class AudioReceivers : public testing::Test, protected CScene {
protected:
    IAudioReceiver* Make(const CMcuAddress& mcu, const CMcuAddress& near) {
        return CreateAudioReceiverUDP(notify, 77, mcu.ips[0], mcu.ips[1], mcu.ips[2], mcu.port, near.ips[0],
                                      near.ips[1], near.ips[2], near.port, 0x0102);
    }
};

struct AskRow {
    CMcuAddress mcu, near;
    std::vector<uint32_t> to;
    uint16_t port;
    bool relayed;
};

TEST_F(AudioReceivers, AskTheRightServerOverBothTransports) {
    const AskRow rows[] = {
        {{{10, 11, 0}, 7000}, {{20, 20, 21}, 7001}, {20, 21}, 7001, true},
        {{{10, 11, 10}, 7000}, {{20, 0, 0}, 0}, {10, 11}, 7000, false},
        {{{10, 11, 12}, 7000}, {{11, 0, 0}, 7001}, {10, 11, 12}, 7000, false},
        {{{10, 0, 0}, 7000}, {{0, 0, 0}, 7001}, {10}, 7000, false},
    };
    for (const AskRow& row : rows) {
        const std::string fields =
            U32(77) +
            (row.relayed ? U32(row.mcu.ips[0]) + U32(row.mcu.ips[1]) + U32(row.mcu.ips[2]) + Hex("1b58")
                         : std::string(14, '\0')) +
            U32(0x0102);
        IAudioReceiver* receiver = Make(row.mcu, row.near);
        const auto sent = host.TakeSent();
        ASSERT_EQ(sent.size(), row.to.size());
        for (size_t i = 0; i < sent.size(); ++i) {
            EXPECT_EQ(sent[i].ip, row.to[i]);
            EXPECT_EQ(sent[i].port, row.port);
            EXPECT_EQ(sent[i].bytes.size(), 28U);
            EXPECT_EQ(sent[i].bytes.substr(0, 2) + sent[i].bytes.substr(6), Hex("0000") + fields);
        }
        receiver->ReleaseConnections();
        EXPECT_TRUE(host.TakeSent().empty());
        receiver = CreateAudioReceiverTCP(notify, 77, row.mcu.ips[0], row.mcu.ips[1], row.mcu.ips[2], row.mcu.port,
                                          row.near.ips[0], row.near.ips[1], row.near.ips[2], row.near.port, 0x0102, 0,
                                          "", 0, "", "");
        CFakeTcp& client = host.net.LastClient();
        EXPECT_EQ(client.dialledHost, GetIpAddr(row.to[0]));
        EXPECT_EQ(client.dialledPort, row.port);
        client.clientNotify->OnTcpClientNotifyConnected();
        EXPECT_EQ(client.sent.at(0).bytes, Hex("00000003 00000016") + fields);
        receiver->ReleaseConnections();
    }
    EXPECT_EQ(CreateAudioReceiverTCP(notify, 77, 0, 0, 0, 7000, 1, 0, 0, 1, 1, 0, "", 0, "", ""), nullptr);
    EXPECT_EQ(CreateAudioReceiverTCP(notify, 77, 1, 0, 0, 0, 1, 0, 0, 1, 1, 0, "", 0, "", ""), nullptr);
}

TEST_F(AudioReceivers, TellTheSinkAtOnceAndAgainWhatTheyWant) {
    IAudioReceiver* receiver = Make({{10, 0, 0}, 7000}, {});
    const std::string id = host.TakeSent().at(0).bytes.substr(2, 4);
    const std::string start = ToHex(Hex("0004") + U32(600)), stop = ToHex(Hex("0006") + U32(600));
    receiver->SetEnable(false);
    EXPECT_TRUE(host.TakeSent().empty()) << "nobody to tell yet";
    host.Deliver(Hex("0001") + id + U32(0), 10, 7000);
    EXPECT_TRUE(host.TakeSent().empty() && notify.connected.empty()) << "no sink; asking again would be answered again";
    host.Deliver(Hex("0001") + id + U32(600), 10, 7000);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(2, stop));
    EXPECT_EQ(notify.connected.size(), 1U);
    host.Deliver(Hex("0001") + id + U32(601), 11, 7000);
    EXPECT_TRUE(host.TakeSent().empty()) << "the first sink wins";
    receiver->SetEnable(true);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(2, start));
    host.Deliver(Hex("0001") + id + U32(600), 10, 7000);
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(2, start));
    EXPECT_EQ(notify.connected.size(), 1U);
    receiver->ReleaseConnections();
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(3, ToHex(Hex("0008") + U32(600))));
}

TEST_F(AudioReceivers, TakeDatagramsOfTheirSinkOnlyAndEachAsItComes) {
    IAudioReceiver* receiver = Make({{10, 0, 0}, 7000}, {});
    const std::string id = host.TakeSent().at(0).bytes.substr(2, 4);
    host.Deliver(Hex("0001") + id + U32(600), 10, 7000);
    const auto frame = [&](uint32_t sink, uint32_t ip, uint16_t port, const std::string& bytes) {
        host.Deliver(Hex("0002") + id + U32(sink) + bytes, ip, port);
    };
    frame(601, 10, 7000, "sink");
    frame(600, 11, 7000, "address");
    frame(600, 10, 7001, "port");
    EXPECT_TRUE(notify.frames.empty());
    for (const char* one : {"b", "a", "a"}) frame(600, 10, 7000, one);
    EXPECT_EQ(notify.frames, (std::vector<std::string>{"b", "a", "a"}));
    host.clock.Advance(180000);
    for (const char* code : {"0005", "0007"}) host.Deliver(Hex(code) + id + U32(600), 10, 7001);
    host.clock.Advance(1);
    EXPECT_TRUE(receiver->IsDisconnected()) << "answers from elsewhere are no sign of life";
    EXPECT_TRUE(receiver->IsDisconnected()) << "and it stays so";
    receiver->ReleaseConnections();
}

TEST_F(AudioReceivers, OverTcpControlBytesTakeThePlaceOfWhatWaits) {
    IAudioReceiver* receiver = CreateAudioReceiverTCP(notify, 77, 10, 0, 0, 7000, 0, 0, 0, 0, 9, 0, "", 0, "", "");
    CFakeTcp& client = host.net.LastClient();
    client.clientNotify->OnTcpClientNotifyConnected();
    client.TakeSent();
    const std::string answer = U32(77) + U32(600);
    EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(3, answer.data(), 4));
    EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(3, nullptr, 8));
    EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(3, (U32(78) + U32(600)).data(), 8));
    EXPECT_TRUE(client.sent.empty());
    EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyValidate(3, answer.data(), 8));
    EXPECT_EQ(client.TakeSent().at(0).bytes, std::string(1, '\0'));
    client.queued = 5;
    receiver->SetEnable(false);
    EXPECT_EQ(client.queued, 0U);
    EXPECT_EQ(client.TakeSent().at(0).bytes, "\x01");
    for (int poll = 1; poll <= 12; ++poll) EXPECT_FALSE(receiver->IsDisconnected());
    EXPECT_EQ(client.TakeSent().at(0).bytes, "\x01") << "the keep-alive says the same";
    client.clientNotify->OnTcpClientNotifyReceivedFrame("x", 1);
    client.clientNotify->OnTcpClientNotifyReceivedFrame("xy", 2);
    EXPECT_EQ(notify.frames, std::vector<std::string>{"xy"});
    receiver->ReleaseConnections();
}

TEST_F(AudioReceivers, OfPeersWaitUnlessTheyWereMadeToAsk) {
    CAnsweringPeer peers;
    IAudioReceiver* waiting = CreateAudioReceiverP2P(notify, 77, 8);
    SetP2PSubscribe(true);
    IAudioReceiver* asking = CreateAudioReceiverP2P(notify, 77, 8);
    SetP2PSubscribe(false);
    host.clock.Advance(4001);
    EXPECT_TRUE(waiting->IsDisconnected());
    EXPECT_FALSE(asking->IsDisconnected()) << "its clock rests while the manager negotiates";
    EXPECT_TRUE(host.TakeSent().empty());
    peers.Announce("P2P_START_ACK", 8);
    host.Deliver(Hex("03 08000000"));
    host.TakeSent();
    EXPECT_FALSE(asking->IsDisconnected());
    const auto sent = host.TakeSent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].bytes.size(), 14U);
    EXPECT_EQ(sent[0].bytes.substr(6), U32(77) + U32(7)) << "the asking user's own ID";
    EXPECT_EQ(sent[0].ip, CTestHost::kPeerIP);
    host.Deliver(Hex("0001") + sent[0].bytes.substr(2, 4) + U32(600));
    EXPECT_EQ(host.TakeSentHex(), std::vector<std::string>(2, ToHex(Hex("0004") + U32(600))));
    asking->IsDisconnected();
    EXPECT_TRUE(host.TakeSent().empty()) << "acknowledged: it asks no more";
    waiting->ReleaseConnections();
    asking->ReleaseConnections();
}

}  // namespace
