// The client of the signalling service: what it says, what it takes, and when it is gone.
#include "lumomedia/p2p.h"
#include "support/p2p_peer.h"
#include "support/session_wire.h"
#include "support/test_manager.h"

#include <gtest/gtest.h>

#include <stdexcept>

using session_wire::U32;

namespace {

constexpr uint32_t kServiceIP = 0x0a000009;

class CNotify final : public ISignalNotify {
public:
    void OnSignalNotifyConnected(unsigned long ulUserID) override {
        connected.push_back(ulUserID);
        if (throws) throw std::runtime_error("connected");
    }
    void OnSignalNotifyCmd(CCmdPacket& cmd) override {
        heard.push_back(cmd.GetAttrib("p2ptype") + " of " + std::to_string(cmd.GetFromUID()));
        if (throws) throw std::runtime_error("command");
    }
    std::vector<unsigned long> connected;
    std::vector<std::string> heard;
    bool throws = false;
};

class SignalClient : public testing::Test {
protected:
    ~SignalClient() override {
        if (client) client->ReleaseConnections();
    }
    ISignalClient* Create(unsigned long user = 7, unsigned long ip = kServiceIP, unsigned short port = 7000) {
        return CreateSignalClient(notify, user, ip, port, 3, "proxy", 1080, "me", "secret");
    }
    CFakeTcp& Tcp() { return net.LastClient(); }
    bool Answer(uint32_t type, const std::string& payload) {
        return Tcp().clientNotify->OnTcpClientNotifyValidate(type, payload.data(), static_cast<int>(payload.size()));
    }
    void Come() {
        client = Create();
        Tcp().clientNotify->OnTcpClientNotifyConnected();
        ASSERT_TRUE(Answer(100, U32(7)));
        Tcp().TakeSent();
    }
    bool Hear(const std::string& frame) {
        return Tcp().clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
    }

    CFakeNet net;
    CNotify notify;
    ISignalClient* client = nullptr;
};

TEST_F(SignalClient, IsMadeOnlyForAUserAndAnAddress) {
    EXPECT_EQ(Create(0), nullptr);
    EXPECT_EQ(Create(7, 0), nullptr);
    EXPECT_EQ(Create(7, kServiceIP, 0), nullptr);
    EXPECT_TRUE(net.clients.empty());
    net.refuseTcpClient = true;
    EXPECT_EQ(Create(), nullptr);
    net.refuseTcpClient = false;
    client = Create();
    ASSERT_TRUE(client);
    EXPECT_EQ(Tcp().dialledHost, "10.0.0.9");
    EXPECT_EQ(Tcp().dialledPort, 7000);
    EXPECT_EQ(Tcp().proxy, "3 proxy 1080 me secret");
}

TEST_F(SignalClient, SaysWhoItIsAndWaitsToBeTaken) {
    client = Create();
    Tcp().clientNotify->OnTcpClientNotifyConnected();
    ASSERT_EQ(Tcp().sent.size(), 1U);
    EXPECT_EQ(Tcp().sent[0].mode, 1);
    EXPECT_EQ(ToHex(Tcp().sent[0].bytes), "000000640000000400000007");
    const CCmdPacket cmd = PeerPacket("P2P_FETCH", 0);
    EXPECT_FALSE(client->SendCmd(8, cmd));
    struct Row {
        uint32_t type;
        std::string payload;
    };
    for (const Row& row : {Row{100, U32(8)}, Row{13, U32(7)}, Row{100, "777"}, Row{100, U32(7) + "7"}, Row{100, ""}})
        EXPECT_FALSE(Answer(row.type, row.payload)) << row.type << " " << ToHex(row.payload);
    EXPECT_FALSE(Tcp().clientNotify->OnTcpClientNotifyValidate(100, nullptr, 4));
    EXPECT_FALSE(client->SendCmd(8, cmd));
    EXPECT_TRUE(notify.connected.empty());
    EXPECT_TRUE(Answer(100, U32(7)));
    EXPECT_EQ(notify.connected, std::vector<unsigned long>{7});
    EXPECT_TRUE(client->SendCmd(8, cmd));
}

TEST_F(SignalClient, CarriesPacketsToOthers) {
    Come();
    const CCmdPacket cmd = PeerPacket("P2P_START", 0, Item(1, 2, 3, 4));
    EXPECT_TRUE(client->SendCmd(0xfffffff8, cmd));
    ASSERT_EQ(Tcp().sent.size(), 1U);
    EXPECT_EQ(Tcp().sent[0].mode, 0);
    EXPECT_EQ(ToHex(Tcp().sent[0].bytes), "fffffff8" + ToHex(cmd.Serialize()));
    CCmdPacket large = cmd;
    large.PutAttrib("more", std::string(65000, 'x'));
    EXPECT_TRUE(client->SendCmd(8, large));
    large.PutAttrib("and more", std::string(1000, 'x'));
    EXPECT_FALSE(client->SendCmd(8, large));
    Tcp().queuedBytes = 1 << 20;
    EXPECT_TRUE(client->SendCmd(8, cmd));
    Tcp().queuedBytes = (1 << 20) + 1;
    EXPECT_FALSE(client->SendCmd(8, cmd)) << "the service does not read";
    Tcp().queuedBytes = 0;
    Tcp().clientNotify->OnTcpClientNotifyDisconnected();
    EXPECT_FALSE(client->SendCmd(8, cmd));
}

TEST_F(SignalClient, HearsWholePacketsAndNothingElse) {
    Come();
    const std::string packet = PeerPacket("P2P_CMD", 0).Serialize();
    EXPECT_TRUE(Hear(U32(0xfffffff8) + packet));
    EXPECT_EQ(notify.heard, std::vector<std::string>{"P2P_CMD of 4294967288"});
    notify.heard.clear();
    for (size_t length = 0; length < 4 + packet.size(); ++length)
        EXPECT_TRUE(Hear((U32(8) + packet).substr(0, length))) << length;
    EXPECT_TRUE(Hear(U32(8) + packet + "x"));
    EXPECT_TRUE(Hear(U32(8) + std::string(64 << 10, 'x')));
    EXPECT_FALSE(Hear(U32(8) + std::string((64 << 10) + 1, 'x'))) << "closes the connection";
    EXPECT_TRUE(notify.heard.empty());
}

TEST_F(SignalClient, KeepsAnIdleConnectionAliveAndKnowsWhenItIsLost) {
    Come();
    int keepAlives = 0;
    for (int poll = 0; poll < 36; ++poll) {
        EXPECT_FALSE(client->IsDisconnected());
        for (const CSentMessage& one : Tcp().TakeSent()) keepAlives += one.bytes == std::string(1, '\0');
    }
    EXPECT_EQ(keepAlives, 3);
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
    EXPECT_TRUE(Answer(100, U32(7)));
    Tcp().clientNotify->OnTcpClientNotifyDisconnected();
    Tcp().lost = true;
    EXPECT_FALSE(client->IsRefused()) << "it was taken before";
}

TEST_F(SignalClient, OutlivesAnApplicationThatThrows) {
    notify.throws = true;
    Come();
    EXPECT_TRUE(Hear(U32(8) + PeerPacket("P2P_CMD", 0).Serialize()));
    EXPECT_EQ(notify.heard.size(), 1U);
    EXPECT_FALSE(client->IsDisconnected());
}

}  // namespace
