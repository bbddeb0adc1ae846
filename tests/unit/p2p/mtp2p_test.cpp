// The peer-to-peer manager: what each command packet and each datagram does, and what it never does.
#include "p2p/mtp2p.h"
#include "link/bounds/limits.h"
#include "link/process/instances.h"
#include "peer_scene.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using Names = std::vector<std::string>;
using Datagrams = std::vector<std::string>;

/// "address:port bytes" of what has left.
Datagrams Left(CTestHost& host) {
    Datagrams left;
    for (const CSentDatagram& one : host.TakeSent())
        left.push_back(GetIpAddr(one.ip) + ":" + std::to_string(one.port) + " " + ToHex(one.bytes));
    return left;
}
Datagrams Times(size_t count, const std::string& datagram) { return Datagrams(count, datagram); }
Datagrams operator+(Datagrams first, const Datagrams& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const std::string kToNat = "10.0.0.2:7001 0207000000";
const std::string kToLan = "192.168.2.2:40000 0207000000";

TEST(MtP2P, ProbesEachAddressThreeTimesThenGivesUp) {
    struct Row {
        P2PItem item;
        Datagrams attempt;
    };
    const P2PItem open = Item(0x0a000002, 7001, 0x0a000002, 7001);
    const P2PItem otherPort = Item(0x0a000002, 7001, 0x0a000002, 7002);
    const Row rows[] = {{CPeerScene::FarItem(), Times(3, kToNat) + Times(3, kToLan)},
                        {open, Times(3, kToNat)},
                        {otherPort, Times(3, kToNat) + Times(3, "10.0.0.2:7002 0207000000")}};
    for (const Row& row : rows) {
        CPeerScene scene;
        scene.Command("P2P_START", row.item);
        EXPECT_EQ(Left(scene.host), row.attempt);
        for (int attempt = 2; attempt <= 3; ++attempt) {
            scene.Command("P2P_CMD");
            EXPECT_EQ(Left(scene.host), row.attempt);
            EXPECT_EQ(scene.Peer().byState, kNegotiating);
        }
        scene.Command("P2P_CMD");
        EXPECT_TRUE(Left(scene.host).empty());
        EXPECT_EQ(scene.Peer().byState, kFailed);
        scene.host.Deliver(Hex("03 08000000"));
        EXPECT_EQ(scene.Peer().byState, kConnected) << "late, but there";
        scene.Command("P2P_CMD");
        EXPECT_EQ(scene.Peer().byState, kConnected) << "nothing undoes that";
    }
}

TEST(MtP2P, AnswersEachCommandAsItsPeerStands) {
    struct Row {
        const char* type;
        Names unknown, negotiating, connected, failed;  // what is sent for it
        bool enters;
    };
    const Names none, ack{"P2P_CMD_ACK 8"}, cmd{"P2P_CMD 8"};
    const Names startAck{"P2P_START_ACK 8"}, fetchAck{"P2P_FETCH_ACK 8"};
    const Row rows[] = {{"P2P_START", startAck, startAck, startAck, startAck, true},
                        {"P2P_START_ACK", cmd, cmd, cmd, cmd, true},
                        {"P2P_CMD", ack, ack, ack, ack, false},
                        {"P2P_CMD_ACK", none, cmd, none, none, false},
                        {"P2P_FETCH", fetchAck, fetchAck, fetchAck, fetchAck, false},
                        {"P2P_FETCH_ACK", none, none, none, none, true},
                        {"P2P_OTHER", none, none, none, none, false},
                        {"p2p_start", none, none, none, none, false},
                        {"", none, none, none, none, false}};
    for (const Row& row : rows) {
        for (const auto state : {kUnknown, kNegotiating, kConnected, kFailed}) {
            CPeerScene scene;
            if (state != kUnknown) scene.Command("P2P_FETCH_ACK", CPeerScene::FarItem());
            if (state == kConnected) scene.host.Deliver(Hex("03 08000000"));
            for (int i = 0; i < 4 && state == kFailed; ++i) scene.Command("P2P_CMD");
            ASSERT_EQ(scene.Peer().byState, state);
            scene.app.TakeSent();
            scene.Command(row.type, CPeerScene::FarItem());
            const Names& expected = state == kUnknown       ? row.unknown
                                    : state == kNegotiating ? row.negotiating
                                    : state == kConnected   ? row.connected
                                                            : row.failed;
            EXPECT_EQ(scene.app.TakeSent(), expected) << row.type << int{state};
            EXPECT_EQ(scene.Peer().byState, row.enters ? kNegotiating : state) << row.type << " begins anew";
        }
    }
}

TEST(MtP2P, AnnouncesItsOwnAddressesWhereTheyBelong) {
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
    EXPECT_EQ(scene.app.TakeSent(), Names{"P2P_START 8"});
    EXPECT_TRUE(carriesItem());
    EXPECT_TRUE(Left(scene.host).empty()) << "nothing is known of the peer";
    scene.Command("P2P_FETCH");
    EXPECT_TRUE(carriesItem());
    scene.Command("P2P_START", CPeerScene::FarItem());
    EXPECT_TRUE(carriesItem());
    scene.Command("P2P_CMD");
    EXPECT_FALSE(carriesItem());
    EXPECT_EQ(scene.Peer(9).byState, kUnknown);
    scene.host.TakeSent();
    scene.p2p->StartP2PCaller(CPeerScene::kUser);
    EXPECT_EQ(Left(scene.host), Times(3, kToNat) + Times(3, kToLan)) << "at once, with its attempts given back";
    EXPECT_EQ(scene.Peer().byState, kNegotiating);
}

TEST(MtP2P, KeepsWhatThePeerAnnouncedAndCorrectsItsPublicPort) {
    CPeerScene scene;
    P2PItem item = CPeerScene::FarItem();
    item.bUpnp = true;
    scene.Command("P2P_FETCH_ACK", item);
    EXPECT_TRUE(Left(scene.host).empty()) << "TCP needs no hole";
    P2PPeer peer = scene.Peer();
    EXPECT_TRUE(peer.bUpnp);
    EXPECT_EQ(peer.ulNATIP, 0x0a000002U);
    EXPECT_EQ(peer.ulLocalIP, 0xc0a80202U);
    EXPECT_EQ(peer.usLocalUDPPort, 40000);
    EXPECT_EQ(peer.ulHeardIP, 0U);
    scene.host.Deliver(Hex("02 08000000"), 0xc0a80202, 41000);
    peer = scene.Peer();
    EXPECT_EQ(peer.byState, kConnected);
    EXPECT_EQ(peer.usNATUDPPort, 7001) << "from the LAN: says nothing of the public port";
    EXPECT_EQ(peer.usHeardPort, 41000);
    scene.host.Deliver(Hex("03 08000000"), 0x0a000002, 50003);
    EXPECT_EQ(scene.Peer().usNATUDPPort, 50003);
    EXPECT_EQ(scene.Peer().usLocalUDPPort, 40000);
}

TEST(MtP2P, AnswersAProbeWithThreeWhoeverAsks) {
    CPeerScene scene;
    for (size_t length = 1; length <= 9; ++length) {
        scene.host.Deliver((Hex("02 08000000") + "xxxx").substr(0, length));
        EXPECT_EQ(Left(scene.host), length == 5 ? Times(3, "10.0.0.2:7001 0307000000") : Datagrams()) << length;
        scene.host.Deliver((Hex("03 08000000") + "xxxx").substr(0, length));
        EXPECT_TRUE(Left(scene.host).empty()) << length;
    }
    for (uint32_t user = 1; user <= 1000; ++user) {
        const std::string id{static_cast<char>(user), static_cast<char>(user >> 8), '\0', '\0'};
        scene.host.Deliver("\2" + id, 0x0b000000 + user, 9);
        EXPECT_EQ(scene.host.TakeSent().size(), 3U);
        EXPECT_EQ(scene.Peer(user).byState, kUnknown) << "spoofed: leaves nothing behind";
    }
}

TEST(MtP2P, AsksForUnknownPeersOnly) {
    CPeerScene scene;
    GetP2PMgr()->FetchMTP2PIP(CPeerScene::kUser);
    EXPECT_EQ(scene.app.TakeSent(), Names{"P2P_FETCH 8"});
    scene.Command("P2P_FETCH_ACK", CPeerScene::FarItem());
    GetP2PMgr()->FetchMTP2PIP(CPeerScene::kUser);
    EXPECT_TRUE(scene.app.TakeSent().empty());
    EXPECT_TRUE(Left(scene.host).empty());
}

TEST(MtP2P, AsksTheReflectorOnceASecondUntilItAnswers) {
    CPeerScene scene;
    const std::string request = "9.8.7.6:7000 07";
    scene.host.Run(3000, 500);
    EXPECT_TRUE(Left(scene.host).empty()) << "nobody to ask";
    scene.p2p->SetSunServer(0x09080706, 7000);
    scene.host.Run(3003, 1);
    EXPECT_EQ(Left(scene.host), Times(3, request));
    const std::string reply = Hex("07 01020304 abcd");
    for (size_t length = 1; length < reply.size(); ++length) scene.host.Deliver(reply.substr(0, length));
    EXPECT_TRUE(scene.app.natAddresses.empty()) << "too short to be one";
    scene.host.Run(1001, 1);
    EXPECT_EQ(Left(scene.host), Times(1, request));
    scene.host.Deliver(reply);
    EXPECT_EQ(scene.app.natAddresses, (std::vector<std::pair<uint32_t, uint16_t>>{{0x01020304, 0xabcd}}));
    scene.host.Run(3003, 1);
    EXPECT_TRUE(Left(scene.host).empty());
    scene.p2p->SetSunServer(0x09080706, 7001);
    scene.host.Run(1001, 1);
    EXPECT_EQ(Left(scene.host), Times(1, "9.8.7.6:7001 07"));
}

TEST(MtP2P, OfTooManyPeersTheOldestWithoutAConnectionGivesWay) {
    CPeerScene scene;
    const auto come = [&scene](uint32_t user) { scene.Command("P2P_FETCH_ACK", CPeerScene::FarItem(), user); };
    const auto connect = [&scene](uint32_t user) {
        scene.host.Deliver(Hex("03") + std::string(reinterpret_cast<const char*>(&user), sizeof user));
    };
    constexpr uint32_t kMost = limits::kMaxPeers;
    for (uint32_t user = 1; user <= kMost; ++user) come(user);
    connect(1);
    scene.Command("P2P_FETCH_ACK", Item(1, 2, 3, 4), 2);  // announced anew, and the youngest now
    come(kMost + 1);
    EXPECT_EQ(scene.Peer(1).byState, kConnected);
    EXPECT_EQ(scene.Peer(2).ulNATIP, 1U);
    EXPECT_EQ(scene.Peer(3).byState, kUnknown);
    EXPECT_EQ(scene.Peer(kMost + 1).byState, kNegotiating);
    scene.app.TakeSent();
    scene.Command("P2P_CMD_ACK", 3);
    EXPECT_TRUE(scene.app.TakeSent().empty()) << "the two of them would go on for ever";
    for (uint32_t user = 1; user <= kMost + 1; ++user) connect(user);
    come(kMost + 2);
    EXPECT_EQ(scene.Peer(1).byState, kUnknown) << "all have a connection: the oldest";
    EXPECT_EQ(scene.Peer(kMost + 2).byState, kNegotiating);
}

class CThrowing : public CP2PApplication {
public:
    using CP2PApplication::CP2PApplication;
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
    for (const char* type : {"P2P_START", "P2P_START_ACK", "P2P_CMD", "P2P_CMD_ACK", "P2P_FETCH", "P2P_FETCH_ACK"}) {
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

TEST(MtP2P, ALocalMcuWithoutItIgnoresPeers) {
    CTestHost host;
    for (const char* datagram : {"02 08000000", "03 08000000", "07 01020304 abcd", "07"}) host.Deliver(Hex(datagram));
    host.Run(2500, 500);
    EXPECT_TRUE(Left(host).empty());
}

}  // namespace
