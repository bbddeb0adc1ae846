// What the receivers of a peer's desktop do about their way, and what they leave.
#include "lumomedia/desktop.h"
#include "support/p2p_peer.h"
#include "support/session_wire.h"
#include "support/test_manager.h"

#include <gtest/gtest.h>

#include <memory>

using session_wire::U32;

namespace {

class DesktopPeerReceivers : public testing::Test, public IDesktopReceiverNotify {
protected:
    class CChannel : public CDesktopChannel {
    public:
        CChannel() : CDesktopChannel(77) { Connect(); }
        void OnDesktopSinkData(const void*, int) override {}
    };

    DesktopPeerReceivers() : p2p(CreateP2P(app)), host(new CTestHost), channel(new CChannel) {}
    ~DesktopPeerReceivers() override {
        if (receiver) receiver->ReleaseConnections();
        channel.reset();
        host.reset();
        p2p->ReleaseConnections();
    }
    void OnDesktopReceiverNotifyConnected(unsigned long ip) override { connectedTo.push_back(ip); }
    void OnDesktopReceiverNotifyData(const char*, int) override {}
    void MakeP2P(bool asking) {
        SetP2PSubscribe(asking);
        receiver = CreateDesktopReceiverP2P(*this, 77, 8);
        SetP2PSubscribe(false);  // counts for those that are made
    }
    void Command(const char* type) {
        CCmdPacket cmd = PeerPacket(type, 8, Item(0x0a000002, 7001, 0xc0a80202, 40000));
        p2p->OnReceivedP2PCmd(cmd);
    }
    void PeerIsThere() {
        Command("P2P_START_ACK");
        host->Deliver(Hex("03 08000000"), 0x0a000002, 50003);
    }
    size_t Requests() {
        size_t count = 0;
        for (const CSentDatagram& one : host->TakeSent()) count += one.bytes.compare(0, 2, Hex("052b")) == 0;
        return count;
    }

    CP2PApplication app;
    IP2P* p2p;
    std::unique_ptr<CTestHost> host;
    std::unique_ptr<CChannel> channel;
    IDesktopReceiver* receiver = nullptr;
    std::vector<unsigned long> connectedTo;
};

TEST_F(DesktopPeerReceivers, LookForTheWayAndAskForNothing) {
    MakeP2P(false);
    EXPECT_EQ(app.TakeSent(), std::vector<std::string>{"P2P_START 8"});
    EXPECT_TRUE(receiver->IsDisconnected());
    PeerIsThere();
    for (int poll = 0; poll < 30; ++poll) {
        EXPECT_TRUE(receiver->IsDisconnected());
        host->Run(1000, 1000);
    }
    EXPECT_EQ(Requests(), 0U);
    receiver->ReleaseConnections();
    receiver = nullptr;
    EXPECT_TRUE(host->TakeSent().empty());
    EXPECT_FALSE(channel->HasDesktopReceiver());
}

TEST_F(DesktopPeerReceivers, AskWhereTheProcessWasToldTo) {
    MakeP2P(true);
    for (int poll = 0; poll < 5; ++poll) {
        host->clock.Advance(100000);
        EXPECT_FALSE(receiver->IsDisconnected()) << "the manager negotiates";
    }
    EXPECT_EQ(Requests(), 0U);
    PeerIsThere();
    EXPECT_EQ(Requests(), 0U);
    for (int poll = 0; poll < 3; ++poll) {
        EXPECT_FALSE(receiver->IsDisconnected());
        EXPECT_EQ(Requests(), 2U) << "at both addresses";
    }
    host->clock.Advance(2001);
    EXPECT_TRUE(receiver->IsDisconnected());
}

TEST_F(DesktopPeerReceivers, OverTcpSayTheChannelAlone) {
    receiver = CreateDesktopReceiverP2PTCP(*this, 77, 8);
    EXPECT_EQ(app.TakeSent(), std::vector<std::string>{"P2P_FETCH 8"});
    for (int poll = 0; poll < 100; ++poll) EXPECT_FALSE(receiver->IsDisconnected());
    app.item = Item(0x0a000002, 1, 0xc0a80105, 1);
    Command("P2P_FETCH_ACK");
    EXPECT_FALSE(receiver->IsDisconnected());
    CFakeTcp& client = host->net.LastClient();
    EXPECT_EQ(client.dialledHost, "192.168.2.2") << "behind the same NAT";
    EXPECT_EQ(client.dialledPort, 40000);
    client.clientNotify->OnTcpClientNotifyConnected();
    EXPECT_EQ(client.sent.at(0).bytes, Hex("0000000b 00000004") + U32(77));
    EXPECT_TRUE(client.clientNotify->OnTcpClientNotifyValidate(11, U32(77).data(), 4));
    EXPECT_EQ(connectedTo.size(), 1U);
}

TEST_F(DesktopPeerReceivers, NeedAChannelOfTheirOwn) {
    EXPECT_EQ(CreateDesktopReceiverP2P(*this, 78, 8), nullptr);
    EXPECT_EQ(CreateDesktopReceiverP2PTCP(*this, 78, 8), nullptr);
    EXPECT_TRUE(app.TakeSent().empty());
}

}  // namespace
