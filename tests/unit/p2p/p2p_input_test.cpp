// What peers announce and must not be believed: cut, odd and absurd packets.
#include "lumomedia/file.h"
#include "peer_scene.h"

#include <gtest/gtest.h>

namespace {

const char* const kTypes[] = {"P2P_START", "P2P_START_ACK", "P2P_CMD", "P2P_CMD_ACK", "P2P_FETCH", "P2P_FETCH_ACK"};

class CApplication : public CFileChannel, public IFileReceiverNotify {
public:
    CApplication() : CFileChannel(77) { Connect(); }
    ~CApplication() override { ReleaseConnections(); }
    void OnFileSinkData(const void*, int) override {}
    void OnFileReceiverNotifyConnected(unsigned long) override {}
    void OnFileReceiverNotifyData(const char*, int) override {}
};

TEST(P2PInput, ACutOrLengthenedPacketIsNone) {
    for (const char* type : kTypes) {
        const std::string bytes = PeerPacket(type, 8, CPeerScene::FarItem()).Serialize();
        CCmdPacket parsed;
        ASSERT_TRUE(CCmdPacket::Parse(bytes, parsed));
        EXPECT_EQ(parsed.GetAttribUS("natudpport"), 7001);
        for (size_t length = 0; length < bytes.size(); ++length)
            EXPECT_FALSE(CCmdPacket::Parse(bytes.substr(0, length), parsed)) << type << length;
        for (const std::string& more : {std::string(1, '\0'), std::string(1, '\xff'), std::string(70000, '\1')})
            EXPECT_FALSE(CCmdPacket::Parse(bytes + more, parsed)) << type;
    }
}

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

struct AddressRow {
    const char* name;
    uint32_t ip;
    uint16_t port;
    bool sent;
};

const AddressRow kAddresses[] = {
    {"none", 0, 7001, false},
    {"this network", 0x00010203, 7001, false},
    {"no port", 0x0a000002, 0, false},
    {"multicast", 0xe0000001, 7001, false},
    {"last multicast", 0xefffffff, 7001, false},
    {"reserved", 0xf0000001, 7001, false},
    {"broadcast", 0xffffffff, 7001, false},
    {"loopback", 0x7f000001, 7001, false},
    {"other loopback", 0x7f123456, 7001, false},
    {"first", 0x01000000, 1, true},
    {"last", 0xdfffffff, 65535, true},
    {"beside loopback", 0x80000000, 7001, true},
};

TEST(P2PInput, NothingIsEverSentToAddressesThatNoPeerCanHave) {
    for (const AddressRow& row : kAddresses) {
        for (const bool asNat : {true, false}) {
            CPeerScene scene;
            CApplication app;
            const P2PItem item = asNat ? Item(row.ip, row.port, 0, 0) : Item(0, 0, row.ip, row.port);
            scene.p2p->StartP2PCaller(CPeerScene::kUser);
            scene.Command("P2P_START_ACK", item);
            scene.Command("P2P_CMD_ACK");
            EXPECT_EQ(scene.host.TakeSent().size(), row.sent ? 6U : 0U) << row.name;
            EXPECT_NE(scene.Peer().byState, kUnknown) << "entered all the same";

            IFileReceiver* receiver = CreateFileReceiverP2P(app, 77, CPeerScene::kUser);
            scene.Command("P2P_START_ACK", item);
            scene.host.Deliver(Hex("03 08000000"), 0x0b000001, 5);
            scene.host.TakeSent();
            EXPECT_FALSE(receiver->IsDisconnected());
            EXPECT_EQ(scene.host.TakeSent().size(), row.sent ? 1U : 0U) << row.name << ": the connect request";
            receiver->ReleaseConnections();
        }
    }
}

TEST(P2PInput, NoConnectionIsDialledToSuchAddresses) {
    for (const AddressRow& row : kAddresses) {
        CPeerScene scene;
        CApplication app;
        // Behind the same NAT, and as a public host.
        for (const P2PItem& item : {Item(static_cast<uint32_t>(scene.app.item.ulNATIP), 1, row.ip, row.port),
                                    Item(row.ip, row.port, row.ip, row.port)}) {
            scene.Command("P2P_FETCH_ACK", item);
            scene.host.net.clients.clear();
            IFileReceiver* receiver = CreateFileReceiverP2PTCP(app, 77, CPeerScene::kUser);
            EXPECT_EQ(receiver->IsDisconnected(), !row.sent) << row.name;
            EXPECT_EQ(scene.host.net.clients.size(), row.sent ? 1U : 0U) << row.name;
            receiver->ReleaseConnections();
        }
    }
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
