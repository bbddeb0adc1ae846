// What peers announce and must not be believed: odd and absurd packets.
#include "peer_scene.h"
#include "support/medium_app.h"

#include <gtest/gtest.h>

namespace {

TEST(P2PInput, WhatIsMissingOrOfAnotherTypeCountsAsNothing) {
    CPeerScene scene;
    for (const char* type : kTypes) {
        scene.Command(type);
        CCmdPacket wrong = PeerPacket(type, CPeerScene::kUser);
        wrong.PutAttrib("natip", "10.0.0.2");
        wrong.PutAttribUL("natudpport", 0x11b59);
        wrong.PutAttribUS("localip", 1);
        wrong.PutAttribBL("localudpport", true);
        wrong.PutAttribUL("upnp", 1);
        scene.Command(wrong);
        const P2PPeer peer = scene.Peer();
        EXPECT_EQ(peer.ulNATIP + peer.usNATUDPPort + peer.ulLocalIP + peer.usLocalUDPPort + peer.bUpnp, 0U) << type;
        EXPECT_TRUE(scene.host.TakeSent().empty()) << type;
    }
    CCmdPacket number = PeerPacket("", CPeerScene::kUser);
    number.PutAttribUL("p2ptype", 1);
    scene.app.TakeSent();
    scene.Command(number);
    EXPECT_TRUE(scene.app.TakeSent().empty());
}

using Address = std::pair<uint32_t, uint16_t>;

void TryAddress(uint32_t ip, uint16_t port, bool sent) {
    SCOPED_TRACE(GetIpAddr(ip) + ":" + std::to_string(port));
    for (const P2PItem& item : {Item(ip, port, 0, 0), Item(0, 0, ip, port)}) {
        CPeerScene scene;
        const auto app = kFile.make(CMediumApp::kChannelID);
        scene.Command("P2P_START_ACK", item);
        scene.Command("P2P_CMD_ACK");
        EXPECT_EQ(scene.host.TakeSent().size(), sent ? 6U : 0U);
        EXPECT_NE(scene.Peer().byState, kUnknown) << "entered all the same";

        const CMade receiver = app->PeerReceiver(false);
        scene.Command("P2P_START_ACK", item);
        scene.Probe("03", CPeerScene::kUser, 0x0b000001);
        scene.host.TakeSent();
        EXPECT_FALSE(receiver.IsDisconnected());
        EXPECT_EQ(scene.host.TakeSent().size(), sent ? 1U : 0U) << "the connect request";
    }
    // Behind the same NAT, and as a public host.
    for (const P2PItem& item : {Item(CPeerScene::kOwnIP, 1, ip, port), Item(ip, port, ip, port)}) {
        CPeerScene scene;
        const auto app = kFile.make(CMediumApp::kChannelID);
        scene.Command("P2P_FETCH_ACK", item);
        const CMade receiver = app->PeerReceiver(true);
        EXPECT_EQ(receiver.IsDisconnected(), !sent);
        EXPECT_EQ(scene.host.net.clients.size(), sent ? 1U : 0U);
    }
}

TEST(P2PInput, NothingIsEverSentToAddressesThatNoPeerCanHave) {
    for (const auto& [ip, port] : {Address{0, 7001}, Address{0x00010203, 7001}, Address{0x0a000002, 0},
                                   Address{0xe0000001, 7001}, Address{0xefffffff, 7001}, Address{0xf0000001, 7001},
                                   Address{0xffffffff, 7001}, Address{0x7f000001, 7001}, Address{0x7f123456, 7001}})
        TryAddress(ip, port, false);
    for (const auto& [ip, port] : {Address{0x01000000, 1}, Address{0xdfffffff, 65535}, Address{0x80000000, 7001}})
        TryAddress(ip, port, true);
}

TEST(P2PInput, OnOneMachineLoopbackIsAWayLikeAnother) {
    for (const P2PItem& own : {Item(0x7f000001, 1, 0x0a000001, 1), Item(0x0a000001, 1, 0x7f000001, 1)}) {
        CPeerScene scene;
        scene.app.item = own;
        scene.Command("P2P_START", Item(0x7f000001, 7001, 0x7f000001, 7001));
        EXPECT_EQ(scene.host.TakeSent().size(), 3U);
    }
}

}  // namespace
