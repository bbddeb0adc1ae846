// The client of the signalling service: what it says, what it takes, and when it is gone.
#include "lumomedia/p2p.h"
#include "support/p2p_peer.h"
#include "support/session_wire.h"

#include <gtest/gtest.h>

#include <stdexcept>

using session_wire::U32;

namespace {

class SignalClient : public testing::Test, private ISignalNotify {
protected:
    ~SignalClient() override {
        if (client) client->ReleaseConnections();
    }
    ISignalClient* Create(unsigned long user = 7, unsigned long ip = 0x0a000009, unsigned short port = 7000) {
        return CreateSignalClient(*this, user, ip, port, 3, "proxy", 1080, "me", "secret");
    }
    CFakeTcp& Tcp() { return net.LastClient(); }
    void Reach() {
        client = Create();
        Tcp().clientNotify->OnTcpClientNotifyConnected();
    }
    void Come() {
        Reach();
        ASSERT_TRUE(Tcp().Answer(100, U32(7)));
        Tcp().TakeSent();
    }
    bool Sends(const CCmdPacket& cmd, unsigned long user = 8) { return client->SendCmd(user, cmd); }

    void OnSignalNotifyConnected(unsigned long ulUserID) override {
        heard.push_back("taken " + std::to_string(ulUserID));
        if (throws) throw std::runtime_error("connected");
    }
    void OnSignalNotifyCmd(CCmdPacket& cmd) override {
        heard.push_back(cmd.GetAttrib("p2ptype") + " of " + std::to_string(cmd.GetFromUID()));
        if (throws) throw std::runtime_error("command");
    }

    using Texts = std::vector<std::string>;
    const CCmdPacket packet = PeerPacket("P2P_CMD", 0, Item(1, 2, 3, 4));
    CFakeNet net;
    ISignalClient* client = nullptr;
    Texts heard;
    bool throws = false;
};

TEST_F(SignalClient, IsMadeOnlyForAUserAndAnAddress) {
    EXPECT_FALSE(Create(0) || Create(7, 0) || Create(7, 1, 0));
    EXPECT_TRUE(net.clients.empty());
    net.refuseTcpClient = true;
    EXPECT_FALSE(Create());
    net.refuseTcpClient = false;
    client = Create();
    ASSERT_TRUE(client);
    EXPECT_EQ(Tcp().dialledHost, "10.0.0.9");
    EXPECT_EQ(Tcp().dialledPort, 7000);
    EXPECT_EQ(Tcp().proxy, "3 proxy 1080 me secret");
}

TEST_F(SignalClient, SaysWhoItIsAndWaitsToBeTaken) {
    Reach();
    ASSERT_EQ(Tcp().sent.size(), 1U);
    EXPECT_EQ(Tcp().sent[0].mode, 1);
    EXPECT_EQ(ToHex(Tcp().sent[0].bytes), "000000640000000400000007");
    for (const std::string& refused : {U32(8), std::string("777"), U32(7) + "7", std::string()})
        EXPECT_FALSE(Tcp().Answer(100, refused)) << ToHex(refused);
    EXPECT_FALSE(Tcp().Answer(13, U32(7)));
    EXPECT_FALSE(Tcp().clientNotify->OnTcpClientNotifyValidate(100, nullptr, 4));
    EXPECT_FALSE(Sends(packet));
    EXPECT_EQ(heard, Texts());
    EXPECT_TRUE(Tcp().Answer(100, U32(7)));
    EXPECT_EQ(heard, Texts{"taken 7"});
    EXPECT_TRUE(Sends(packet));
}

TEST_F(SignalClient, CarriesPacketsToOthers) {
    Come();
    EXPECT_TRUE(Sends(packet, 0xfffffff8));
    EXPECT_EQ(Tcp().TakeFrames(), Texts{U32(0xfffffff8) + packet.Serialize()});
    CCmdPacket large = packet;
    large.PutAttrib("more", std::string(65000, 'x'));
    EXPECT_TRUE(Sends(large));
    large.PutAttrib("and more", std::string(1000, 'x'));
    EXPECT_FALSE(Sends(large));
    Tcp().queuedBytes = 1 << 20;
    EXPECT_TRUE(Sends(packet));
    Tcp().queuedBytes = (1 << 20) + 1;
    EXPECT_FALSE(Sends(packet)) << "the service does not read";
    Tcp().queuedBytes = 0;
    Tcp().clientNotify->OnTcpClientNotifyDisconnected();
    EXPECT_FALSE(Sends(packet));
}

TEST_F(SignalClient, HearsWholePacketsAndNothingElse) {
    Come();
    heard.clear();
    const std::string bytes = packet.Serialize();
    EXPECT_TRUE(Tcp().Hear(U32(0xfffffff8) + bytes));
    EXPECT_EQ(heard, Texts{"P2P_CMD of 4294967288"});
    for (size_t length = 0; length < 4 + bytes.size(); ++length)
        EXPECT_TRUE(Tcp().Hear((U32(8) + bytes).substr(0, length))) << length;
    EXPECT_TRUE(Tcp().Hear(U32(8) + bytes + "x"));
    EXPECT_TRUE(Tcp().Hear(U32(8) + std::string(64 << 10, 'x')));
    EXPECT_FALSE(Tcp().Hear(U32(8) + std::string((64 << 10) + 1, 'x'))) << "closes the connection";
    EXPECT_EQ(heard.size(), 1U);
}

TEST_F(SignalClient, KeepsAnIdleConnectionAliveAndKnowsWhenItIsLost) {
    Come();
    for (int poll = 0; poll < 36; ++poll) EXPECT_FALSE(client->IsDisconnected());
    EXPECT_EQ(Tcp().TakeFrames(), Texts(3, std::string(1, '\0')));
    Tcp().lost = true;
    EXPECT_TRUE(client->IsDisconnected());
    client->ReleaseConnections();
    client = nullptr;
    EXPECT_TRUE(Tcp().released);
}

TEST_F(SignalClient, IsRefusedOnlyByAServiceThatItHasReached) {
    client = Create();
    Tcp().lost = true;
    EXPECT_FALSE(client->IsRefused()) << "nobody is there";
    Tcp().clientNotify->OnTcpClientNotifyConnected();
    EXPECT_TRUE(client->IsRefused());
    Tcp().lost = false;
    EXPECT_FALSE(client->IsRefused()) << "it has not answered yet";
    EXPECT_TRUE(Tcp().Answer(100, U32(7)));
    Tcp().clientNotify->OnTcpClientNotifyDisconnected();
    Tcp().lost = true;
    EXPECT_FALSE(client->IsRefused()) << "it was taken before";
}

TEST_F(SignalClient, OutlivesAnApplicationThatThrows) {
    throws = true;
    Come();
    EXPECT_TRUE(Tcp().Hear(U32(8) + packet.Serialize()));
    EXPECT_EQ(heard.size(), 2U);
    EXPECT_FALSE(client->IsDisconnected());
}

}  // namespace
