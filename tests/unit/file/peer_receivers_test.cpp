// How the receivers of a peer's channel wait for their way, take it, and give up.
#include "link/bounds/limits.h"
#include "lumomedia/file.h"
#include "support/p2p_peer.h"
#include "support/session_wire.h"
#include "support/test_manager.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>

using session_wire::ReadU32;
using session_wire::U32;

namespace {

class PeerReceivers : public testing::Test, public IFileReceiverNotify {
protected:
    class CChannel : public CFileChannel {
    public:
        CChannel() : CFileChannel(77) { Connect(); }
        ~CChannel() override { ReleaseConnections(); }
        void OnFileSinkData(const void*, int) override {}
    };

    PeerReceivers() : p2p(CreateP2P(app)), host(new CTestHost), channel(new CChannel) {}
    ~PeerReceivers() override {
        if (receiver) receiver->ReleaseConnections();
        channel.reset();
        host.reset();
        p2p->ReleaseConnections();
    }
    void OnFileReceiverNotifyConnected(unsigned long ip) override { connectedTo.push_back(ip); }
    void OnFileReceiverNotifyData(const char* data, int length) override {
        delivered.emplace_back(data, static_cast<size_t>(length));
    }
    void Command(const char* type, uint32_t user = 8) {
        CCmdPacket cmd = PeerPacket(type, user, Item(0x0a000002, 7001, 0xc0a80202, 40000));
        p2p->OnReceivedP2PCmd(cmd);
    }
    /// Two places where a poll asks for the channel, or none.
    std::set<uint32_t> Asked() {
        std::set<uint32_t> asked;
        for (const CSentDatagram& one : host->TakeSent())
            if (one.bytes.size() == 10 && one.bytes.compare(0, 2, Hex("0639")) == 0) {
                id = ReadU32(one.bytes, 2);
                EXPECT_EQ(ReadU32(one.bytes, 6), 77U);
                asked.insert(one.ip);
            }
        return asked;
    }

    CP2PApplication app;
    IP2P* p2p;
    std::unique_ptr<CTestHost> host;
    std::unique_ptr<CChannel> channel;
    IFileReceiver* receiver = nullptr;
    uint32_t id = 0;
    std::vector<unsigned long> connectedTo;
    std::vector<std::string> delivered;
};

TEST_F(PeerReceivers, NeedAChannelOfTheirOwn) {
    EXPECT_EQ(CreateFileReceiverP2P(*this, 78, 8), nullptr);
    EXPECT_EQ(CreateFileReceiverP2PTCP(*this, 78, 8), nullptr);
    EXPECT_TRUE(app.TakeSent().empty());
}

// It fails, or has no room for this peer any more.
TEST_F(PeerReceivers, WaitAsLongAsTheManagerNegotiates) {
    const auto waits = [&] {
        for (int poll = 0; poll < 5; ++poll) {
            host->clock.Advance(100000);
            EXPECT_FALSE(receiver->IsDisconnected());
            EXPECT_TRUE(Asked().empty());
        }
    };
    for (const bool gaveWay : {false, true}) {
        receiver = CreateFileReceiverP2P(*this, 77, 8);
        EXPECT_EQ(app.TakeSent(), std::vector<std::string>{"P2P_START 8"});
        waits();
        Command("P2P_START_ACK");
        waits();
        for (int i = 0; i < 3 && !gaveWay; ++i) Command("P2P_CMD");
        for (uint32_t user = 0; user < limits::kMaxPeers && gaveWay; ++user) Command("P2P_FETCH_ACK", 1000 + user);
        host->clock.Advance(2000);
        EXPECT_FALSE(receiver->IsDisconnected()) << "failed, but only since";
        host->clock.Advance(1);
        EXPECT_TRUE(receiver->IsDisconnected());
        EXPECT_TRUE(Asked().empty());
        receiver->ReleaseConnections();
        receiver = nullptr;
        app.TakeSent();
    }
}

TEST_F(PeerReceivers, AskAtBothAddressesUntilOneAnswers) {
    receiver = CreateFileReceiverP2P(*this, 77, 8);
    Command("P2P_START_ACK");
    host->Deliver(Hex("03 08000000"), 0x0a000002, 50003);
    for (int poll = 0; poll < 3; ++poll) {
        EXPECT_FALSE(receiver->IsDisconnected());
        EXPECT_EQ(Asked(), (std::set<uint32_t>{0x0a000002, 0xc0a80202}));
    }
    const std::string ack = Hex("063a") + U32(id);
    host->Deliver(ack + U32(600), 0xc0a80202, 40000);
    host->Deliver(ack + U32(601), 0x0a000002, 50003);
    EXPECT_EQ(connectedTo, std::vector<unsigned long>{0xc0a80202}) << "the first one";
    EXPECT_FALSE(receiver->IsDisconnected());
    EXPECT_TRUE(Asked().empty());
    const std::string frame = Hex("063d") + U32(id) + U32(600) + session_wire::Data(0, "data");
    host->Deliver(frame, 0xc0a80202, 40001);
    host->Deliver(frame, 0x0a000002, 40000);
    EXPECT_TRUE(delivered.empty()) << "not from there";
    host->Deliver(frame, 0xc0a80202, 40000);
    EXPECT_EQ(delivered, std::vector<std::string>{"data"});
}

TEST_F(PeerReceivers, OverTcpGiveUpWhenNoClientIsToBeHad) {
    receiver = CreateFileReceiverP2PTCP(*this, 77, 8);
    EXPECT_EQ(app.TakeSent(), std::vector<std::string>{"P2P_FETCH 8"});
    for (int poll = 0; poll < 100; ++poll) EXPECT_FALSE(receiver->IsDisconnected());
    app.item = Item(0x0a000002, 1, 0xc0a80105, 1);
    Command("P2P_FETCH_ACK");
    host->net.refuseTcpClient = true;
    EXPECT_TRUE(receiver->IsDisconnected());
    host->net.refuseTcpClient = false;
    EXPECT_FALSE(receiver->IsDisconnected());
    EXPECT_EQ(host->net.clients.size(), 1U);
    receiver->ReleaseConnections();
    receiver = nullptr;
    EXPECT_TRUE(host->net.LastClient().released);
}

TEST_F(PeerReceivers, WithoutAManagerTheyWait) {
    p2p->ReleaseConnections();
    receiver = CreateFileReceiverP2P(*this, 77, 8);
    IFileReceiver* overTcp = CreateFileReceiverP2PTCP(*this, 77, 8);
    host->clock.Advance(100000);
    EXPECT_FALSE(receiver->IsDisconnected());
    EXPECT_FALSE(overTcp->IsDisconnected());
    overTcp->ReleaseConnections();
    p2p = CreateP2P(app);
}

}  // namespace
