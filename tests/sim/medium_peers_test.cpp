// How receivers of every medium wait for the way to a peer, take it, and give up.
#include "link/bounds/limits.h"
#include "support/medium_scene.h"
#include "support/p2p_peer.h"

#include <set>

using session_wire::ReadU32;
using session_wire::U32;

namespace {

constexpr uint32_t kPublic = 0x0a000002;
constexpr uint32_t kLocal = 0xc0a80202;

class MediumPeers : public MediumScene {
protected:
    ~MediumPeers() override {
        receiver.Release();
        if (p2p) p2p->ReleaseConnections();
    }
    void Ask() {
        SetP2PSubscribe(true);  // some do in any case
        receiver = app->PeerReceiver(false);
        SetP2PSubscribe(false);
    }
    void Command(const char* type, uint32_t from = CMediumApp::kPeerUser) {
        CCmdPacket command = PeerPacket(type, from, Item(kPublic, 7001, kLocal, 40000));
        p2p->OnReceivedP2PCmd(command);
    }
    /// Where a poll has asked for the channel.
    std::set<uint32_t> PollAsks(bool disconnected = false) {
        EXPECT_EQ(receiver.IsDisconnected(), disconnected);
        const std::string userID = Row().sink.namesUser ? U32(user.userID) : "";  // the asking user's own
        std::set<uint32_t> asked;
        for (const CSentDatagram& one : host.TakeSent()) {
            if (one.bytes.size() < 10 || !one.bytes.starts_with(Say(Row().sink.connect, {}))) continue;
            id = ReadU32(one.bytes, 2);
            EXPECT_EQ(one.bytes, Say(Row().sink.connect, {id, kChannelID}, userID));
            asked.insert(one.ip);
        }
        return asked;
    }

    CP2PApplication user;
    IP2P* p2p = CreateP2P(user);
    CMade receiver;
    uint32_t id = 0;
    const std::set<uint32_t> nobody{};
};

// It fails, or has no room for this peer any more.
TEST_P(MediumPeers, AreWaitedForAsLongAsTheManagerNegotiates) {
    const auto waits = [&] {
        for (int poll = 0; poll < 5; ++poll) {
            host.clock.Advance(100000);
            EXPECT_EQ(PollAsks(), nobody);
        }
    };
    for (const bool gaveWay : {false, true}) {
        Ask();
        EXPECT_EQ(user.TakeSent(), std::vector<std::string>{"P2P_START 8"});
        waits();
        Command("P2P_START_ACK");
        waits();
        for (int i = 0; i < 3 && !gaveWay; ++i) Command("P2P_CMD");
        for (uint32_t other = 0; other < limits::kMaxPeers && gaveWay; ++other) Command("P2P_FETCH_ACK", 1000 + other);
        host.clock.Advance(GetParam().failedPeerMs);
        EXPECT_EQ(PollAsks(), nobody);
        host.clock.Advance(1);
        EXPECT_EQ(PollAsks(true), nobody) << "failed, but only since";
        receiver.Release();
        user.TakeSent();
    }
}

TEST_P(MediumPeers, AreAskedAtBothAddressesUntilOneAnswers) {
    Ask();
    Command("P2P_START_ACK");
    host.Deliver(Hex("03 08000000"), kPublic, 50003);
    for (int poll = 0; poll < 3; ++poll) EXPECT_EQ(PollAsks(), (std::set{kPublic, kLocal}));
    host.Deliver(Say(Row().sink.connectAck, {id, kSinkID}), kLocal, 40000);
    host.Deliver(Say(Row().sink.connectAck, {id, 601}), kPublic, 50003);
    EXPECT_EQ(app->connected, std::vector<uint32_t>{kLocal}) << "the first one";
    EXPECT_EQ(PollAsks(), nobody);
    const std::string frame = Say(Row().sink.frame, {id, kSinkID}, Framed("data"));
    host.Deliver(frame, kLocal, 40001);
    host.Deliver(frame, kPublic, 40000);
    EXPECT_TRUE(app->delivered.empty()) << "not from there";
    host.Deliver(frame, kLocal, 40000);
    EXPECT_EQ(app->delivered, std::vector<std::string>{"data"});
}

TEST_P(MediumPeers, WithoutAManagerAreWaitedFor) {
    std::exchange(p2p, nullptr)->ReleaseConnections();
    Ask();
    CMade overTcp = app->PeerReceiver(true);
    host.clock.Advance(100000);
    EXPECT_EQ(PollAsks(), nobody);
    EXPECT_TRUE(!overTcp || !overTcp.IsDisconnected());
}

INSTANTIATE_TEST_SUITE_P(Media, MediumPeers, testing::Values(kAudio, kVideo, kWhiteboard, kDesktop, kFile),
                         testing::PrintToStringParamName());

class SharedPeers : public MediumPeers {};  // those whose receivers belong to a channel and dial

TEST_P(SharedPeers, AreNotAskedForAChannelThatIsNotHere) {
    app->ReleaseChannel();
    EXPECT_FALSE(app->PeerReceiver(false));
    EXPECT_FALSE(app->PeerReceiver(true));
    EXPECT_TRUE(user.TakeSent().empty());
}

TEST_P(SharedPeers, AreDialledOverTcpAndToldTheChannelAlone) {
    receiver = app->PeerReceiver(true);
    EXPECT_EQ(user.TakeSent(), std::vector<std::string>{"P2P_FETCH 8"});
    for (int i = 0; i < 100; ++i) EXPECT_FALSE(receiver.IsDisconnected());
    user.item = Item(kPublic, 1, 0xc0a80105, 1);
    Command("P2P_FETCH_ACK");
    host.net.refuseTcpClient = true;
    EXPECT_TRUE(receiver.IsDisconnected());
    host.net.refuseTcpClient = false;
    EXPECT_FALSE(receiver.IsDisconnected());
    EXPECT_EQ(host.net.clients.size(), 1U);
    CFakeTcp& client = host.net.LastClient();
    EXPECT_EQ(client.dialledHost, "192.168.2.2") << "behind the same NAT";
    EXPECT_EQ(client.dialledPort, 40000);
    client.clientNotify->OnTcpClientNotifyConnected();
    EXPECT_EQ(client.TakeSent().at(0).bytes, Validation(Row().tcp.receiver, U32(kChannelID)));
    EXPECT_TRUE(Answer(client, Row().tcp.receiver, U32(kChannelID)));
    EXPECT_EQ(app->connected.size(), 1U);
    receiver.Release();
    EXPECT_TRUE(client.released);
}

INSTANTIATE_TEST_SUITE_P(Media, SharedPeers, testing::Values(kWhiteboard, kDesktop, kFile),
                         testing::PrintToStringParamName());

}  // namespace
