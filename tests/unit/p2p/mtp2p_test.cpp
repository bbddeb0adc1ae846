// The peer-to-peer manager: what each command packet and each datagram does, and what it never does.
#include "p2p/mtp2p.h"
#include "link/bounds/limits.h"
#include "link/process/instances.h"
#include "peer_scene.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using Texts = std::vector<std::string>;

/// "address:port bytes" of what has left.
Texts Left(CTestHost& host) {
    Texts left;
    for (const CSentDatagram& one : host.TakeSent())
        left.push_back(GetIpAddr(one.ip) + ":" + std::to_string(one.port) + " " + ToHex(one.bytes));
    return left;
}
/// Three probes to each of them.
Texts Probes(const Texts& addresses) {
    Texts probes;
    for (const std::string& address : addresses) probes.insert(probes.end(), 3, address + " 0207000000");
    return probes;
}

const Texts kBoth{"10.0.0.2:7001", "192.168.2.2:40000"};

TEST(MtP2P, AnswersEachCommandAsItsPeerStands) {
    const struct {
        const char *type, *answer;
        bool always;  // else only while it negotiates
        bool enters;
    } rows[] = {{"P2P_START", "P2P_START_ACK 8", true, true},
                {"P2P_START_ACK", "P2P_CMD 8", true, true},
                {"P2P_CMD", "P2P_CMD_ACK 8", true, false},
                {"P2P_CMD_ACK", "P2P_CMD 8", false, false},
                {"P2P_FETCH", "P2P_FETCH_ACK 8", true, false},
                {"P2P_FETCH_ACK", nullptr, true, true},
                {"P2P_OTHER", nullptr, true, false},
                {"p2p_start", nullptr, true, false},
                {"", nullptr, true, false}};
    for (const auto& row : rows) {
        for (const auto state : {kUnknown, kNegotiating, kConnected, kFailed}) {
            CPeerScene scene;
            if (state != kUnknown) scene.Command("P2P_FETCH_ACK", CPeerScene::FarItem());
            if (state == kConnected) scene.host.Deliver(Hex("03 08000000"));
            for (int i = 0; i < 4 && state == kFailed; ++i) scene.Command("P2P_CMD");
            ASSERT_EQ(scene.Peer().byState, state) << "the fourth attempt is none";
            scene.app.TakeSent();
            scene.Command(row.type, CPeerScene::FarItem());
            const bool answers = row.answer && (row.always || state == kNegotiating);
            EXPECT_EQ(scene.app.TakeSent(), answers ? Texts{row.answer} : Texts()) << row.type << int{state};
            EXPECT_EQ(scene.Peer().byState, row.enters ? kNegotiating : state) << row.type << " begins anew";
        }
    }
}

TEST(MtP2P, AnnouncesItsOwnAddressesWhereTheyBelongAndAsksForUnknownPeers) {
    CPeerScene scene;
    scene.app.item = Item(0x01020304, 5, 0x06070809, 10, true);
    scene.app.item.usNATType = 3;
    const auto carriesItem = [&] {
        const CCmdPacket& cmd = scene.app.last;
        return cmd.GetAttribUL("natip") == 0x01020304 && cmd.GetAttribUS("natudpport") == 5 &&
               cmd.GetAttribUL("localip") == 0x06070809 && cmd.GetAttribUS("localudpport") == 10 &&
               cmd.GetAttribUS("nattype") == 3 && cmd.GetAttribBL("upnp");
    };
    scene.p2p->StartP2PCaller(CPeerScene::kUser);
    EXPECT_TRUE(carriesItem());
    GetP2PMgr()->FetchMTP2PIP(CPeerScene::kUser);
    EXPECT_EQ(scene.app.TakeSent(), (Texts{"P2P_START 8", "P2P_FETCH 8"}));
    EXPECT_TRUE(Left(scene.host).empty()) << "nothing is known of the peer";
    scene.Command("P2P_FETCH");
    EXPECT_TRUE(carriesItem());
    scene.Command("P2P_START", CPeerScene::FarItem());
    EXPECT_TRUE(carriesItem());
    scene.Command("P2P_CMD");
    EXPECT_FALSE(carriesItem());
    scene.app.TakeSent();
    GetP2PMgr()->FetchMTP2PIP(CPeerScene::kUser);
    EXPECT_TRUE(scene.app.TakeSent().empty()) << "it is known";
    scene.host.TakeSent();
    scene.p2p->StartP2PCaller(CPeerScene::kUser);
    EXPECT_EQ(Left(scene.host), Probes(kBoth)) << "at once, with its attempts given back";
    EXPECT_EQ(scene.Peer().byState, kNegotiating);
}

TEST(MtP2P, KeepsWhatThePeerAnnouncedAndCorrectsItsPublicPort) {
    CPeerScene scene;
    scene.Command("P2P_FETCH_ACK", Item(0x0a000002, 7001, 0xc0a80202, 40000, true));
    EXPECT_TRUE(Left(scene.host).empty()) << "TCP needs no hole";
    EXPECT_TRUE(scene.Peer().bUpnp);
    EXPECT_EQ(scene.Peer().ulNATIP, 0x0a000002U);
    EXPECT_EQ(scene.Peer().ulLocalIP, 0xc0a80202U);
    EXPECT_EQ(scene.Peer().ulHeardIP, 0U);
    scene.host.Deliver(Hex("02 08000000"), 0xc0a80202, 41000);
    EXPECT_EQ(scene.Peer().byState, kConnected);
    EXPECT_EQ(scene.Peer().usNATUDPPort, 7001) << "from the LAN: says nothing of the public port";
    EXPECT_EQ(scene.Peer().usHeardPort, 41000);
    scene.host.Deliver(Hex("03 08000000"), 0x0a000002, 50003);
    EXPECT_EQ(scene.Peer().usNATUDPPort, 50003);
    EXPECT_EQ(scene.Peer().usLocalUDPPort, 40000);
    Left(scene.host);
    scene.Command("P2P_START", Item(0x0a000002, 7001, 0x0a000002, 7001));
    EXPECT_EQ(Left(scene.host), Probes({"10.0.0.2:7001"})) << "one address";
    scene.Command("P2P_START", Item(0x0a000002, 7001, 0x0a000002, 7002));
    EXPECT_EQ(Left(scene.host), Probes({"10.0.0.2:7001", "10.0.0.2:7002"}));
}

TEST(MtP2P, AnswersAProbeWithThreeWhoeverAsks) {
    CPeerScene scene;
    for (size_t length = 1; length <= 9; ++length) {
        scene.host.Deliver((Hex("02 08000000") + "xxxx").substr(0, length));
        EXPECT_EQ(Left(scene.host), length == 5 ? Texts(3, "10.0.0.2:7001 0307000000") : Texts()) << length;
        scene.host.Deliver((Hex("03 08000000") + "xxxx").substr(0, length));
        EXPECT_TRUE(Left(scene.host).empty()) << length;
    }
    for (uint32_t user = 1; user <= 1000; ++user) {
        scene.Probe("02", user, 0x0b000000 + user);
        EXPECT_EQ(scene.host.TakeSent().size(), 3U);
        EXPECT_EQ(scene.Peer(user).byState, kUnknown) << "spoofed: leaves nothing behind";
    }
}

TEST(MtP2P, AsksTheReflectorOnceASecondUntilItAnswers) {
    CPeerScene scene;
    const auto left = [&](uint32_t milliseconds) {
        scene.host.Run(milliseconds, 1);
        return Left(scene.host);
    };
    EXPECT_EQ(left(3000), Texts()) << "nobody to ask";
    scene.p2p->SetSunServer(0x09080706, 7000);
    EXPECT_EQ(left(3003), Texts(3, "9.8.7.6:7000 07"));
    const std::string reply = Hex("07 01020304 abcd");
    for (size_t length = 1; length < reply.size(); ++length) scene.host.Deliver(reply.substr(0, length));
    EXPECT_EQ(left(1001), Texts{"9.8.7.6:7000 07"}) << "too short to be answers";
    scene.host.Deliver(reply);
    EXPECT_EQ(scene.app.natAddresses, (std::vector<std::pair<uint32_t, uint16_t>>{{0x01020304, 0xabcd}}));
    EXPECT_EQ(left(3003), Texts());
    scene.p2p->SetSunServer(0x09080706, 7001);
    EXPECT_EQ(left(1001), Texts{"9.8.7.6:7001 07"});
}

TEST(MtP2P, OfTooManyPeersTheOldestWithoutAConnectionGivesWay) {
    CPeerScene scene;
    const auto come = [&scene](uint32_t user) { scene.Command("P2P_FETCH_ACK", CPeerScene::FarItem(), user); };
    constexpr uint32_t kMost = limits::kMaxPeers;
    for (uint32_t user = 1; user <= kMost; ++user) come(user);
    scene.Probe("03", 1);
    scene.Command("P2P_FETCH_ACK", Item(1, 2, 3, 4), 2);  // announced anew, and the youngest now
    come(kMost + 1);
    EXPECT_EQ(scene.Peer(1).byState, kConnected);
    EXPECT_EQ(scene.Peer(2).ulNATIP, 1U);
    EXPECT_EQ(scene.Peer(3).byState, kUnknown);
    EXPECT_EQ(scene.Peer(kMost + 1).byState, kNegotiating);
    for (uint32_t user = 1; user <= kMost + 1; ++user) scene.Probe("03", user);
    come(kMost + 2);
    EXPECT_EQ(scene.Peer(1).byState, kUnknown) << "all have a connection: the oldest";
    EXPECT_EQ(scene.Peer(kMost + 2).byState, kNegotiating);
}

class CThrowing : public CP2PApplication {
public:
    void OnP2PNotifySendCmd(unsigned long, CCmdPacket&) override { throw std::runtime_error("send"); }
    void OnP2PNotifyGetP2PItem(P2PItem&) override { throw std::runtime_error("item"); }
    unsigned long OnP2PNotifyGetUserID() override { throw std::runtime_error("user"); }
    void OnP2PNotifyNATAddress(unsigned long, unsigned short) override { throw std::runtime_error("address"); }
};

TEST(MtP2P, OutlivesAnApplicationThatThrows) {
    CTestHost host;
    CThrowing app;
    IP2P* p2p = CreateP2P(app);
    p2p->StartP2PCaller(8);
    for (const char* type : kTypes) {
        CCmdPacket cmd = PeerPacket(type, 8, CPeerScene::FarItem());
        p2p->OnReceivedP2PCmd(cmd);
    }
    host.Deliver(Hex("02 08000000"));
    host.Deliver(Hex("07 01020304 abcd"));
    P2PPeer peer{};
    EXPECT_TRUE(GetP2PPeer(8, peer));
    EXPECT_EQ(peer.byState, kConnected);
    host.Release();
    p2p->ReleaseConnections();
    EXPECT_FALSE(GetP2PPeer(8, peer)) << "without a manager nobody is known";
}

}  // namespace
