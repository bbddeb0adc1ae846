// The whiteboard part of the local MCU: sessions that come and go, wire bytes, factories, mixed transports.
#include "whiteboard/local_mcu_wb.h"
#include "support/p2p_peer.h"
#include "support/session_wire.h"
#include "support/wb_words.h"

#include <gtest/gtest.h>

using session_wire::ReadU32;
using session_wire::U32;
using namespace wb_words;

namespace {

class CNotify final : public IWBSessionClientNotify {
public:
    void OnWBSessionClientNotifyConnected(unsigned long ip) override { connected.push_back(ip); }
    std::vector<unsigned long> connected;
};

class CReader : public CWBSession {
public:
    explicit CReader(CWBChannel& channel) : CWBSession(&channel) { JoinWBChannel(); }
    ~CReader() override { LeaveWBChannel(); }
    void SendWBSessionData(const char* data, int len) override {
        heard.emplace_back(data, static_cast<size_t>(len));
        if (throws) throw std::string("no");
    }
    bool IsDisconnected() override { return false; }
    void Say(const std::string& message) { OnWBSessionData(message.data(), static_cast<int>(message.size())); }
    std::vector<std::string> Heard() { return std::exchange(heard, {}); }
    std::vector<std::string> heard;
    bool throws = false;
};

class LocalMcuWB : public testing::Test {
protected:
    LocalMcuWB() { channel.Connect(); }
    void ConnectSession(uint32_t client, uint32_t channelID = 77) {
        host.Deliver(Hex("0424") + U32(client) + U32(channelID));
    }
    /// Both acknowledgements; gives the session's ID.
    uint32_t TakeAck(uint32_t client) {
        const auto sent = host.TakeSent();
        EXPECT_GE(sent.size(), 2U);
        for (size_t i = 0; i < 2 && i < sent.size(); ++i) {
            EXPECT_EQ(sent[i].bytes.substr(0, 6), Hex("0425") + U32(client));
            EXPECT_EQ(sent[i].bytes.size(), 10U);
        }
        return sent.empty() ? 0 : ReadU32(sent[0].bytes, 6);
    }
    bool Validate(const std::string& payload, uint32_t type = 9) {
        return host.net.TcpServer().Validate(&host.net.NewSession(), type, payload);
    }

    CTestHost host;
    CNotify notify;
    CWBChannel channel{77};
};

TEST_F(LocalMcuWB, AcknowledgesAgainAndMakesNoSecondSession) {
    ConnectSession(5);
    const uint32_t first = TakeAck(5);
    ConnectSession(5);
    EXPECT_EQ(TakeAck(5), first);
    EXPECT_EQ(channel.GetWBSessionCount(), 1U);
    ConnectSession(6, 78);                                                 // no such channel
    host.Deliver(Hex("0424") + U32(6) + U32(77) + std::string(14, '\0'));  // the servers' form
    host.Deliver(Hex("0426") + U32(first) + "x");                          // too long
    host.Deliver(Hex("0427") + U32(first ^ 1));                            // of nobody
    EXPECT_TRUE(host.TakeSent().empty());
    EXPECT_EQ(channel.GetWBSessionCount(), 1U);
    host.Deliver(Hex("0427") + U32(first), 0x0a0000ff, 9);  // whoever asks: the answer goes to who connected
    const auto alive = host.TakeSent();
    ASSERT_EQ(alive.size(), 1U);
    EXPECT_EQ(alive[0].bytes, Hex("0428") + U32(5) + U32(first));
    EXPECT_EQ(alive[0].ip, CTestHost::kPeerIP);
    host.Deliver(Hex("0426") + U32(first));
    EXPECT_EQ(channel.GetWBSessionCount(), 0U);
    EXPECT_TRUE(channel.IsEmpty());
}

TEST_F(LocalMcuWB, ASilentSessionGoesAtTheSweep) {
    ConnectSession(5);
    host.Run(180000, 1000);
    EXPECT_EQ(channel.GetWBSessionCount(), 1U);
    host.Run(2002, 1001);
    EXPECT_EQ(channel.GetWBSessionCount(), 0U);
    host.TakeSent();
    EXPECT_FALSE(GetLocalMCUWB()->ProcessWBSend());
}

TEST_F(LocalMcuWB, TakesOnlyTheShortValidation) {
    EXPECT_FALSE(Validate(U32(77) + "x"));
    EXPECT_FALSE(Validate(U32(77).substr(0, 3)));
    EXPECT_FALSE(Validate(U32(77) + std::string(14, '\0')));
    EXPECT_FALSE(Validate(U32(78)));
    host.net.TcpServer().agrees = false;
    EXPECT_FALSE(Validate(U32(77)));
    host.net.TcpServer().agrees = true;
    EXPECT_EQ(channel.GetWBSessionCount(), 0U);
    EXPECT_TRUE(Validate(U32(77)));
    const auto answer = host.net.sessions.back()->TakeSent();
    ASSERT_EQ(answer.size(), 1U);
    EXPECT_EQ(answer[0].mode, 1);
    EXPECT_EQ(answer[0].bytes, U32(9) + U32(4) + U32(77));
    EXPECT_EQ(channel.GetWBSessionCount(), 1U);
}

TEST_F(LocalMcuWB, ReleasingOneChannelEndsTheSessionsOfAllAndDeletingOneOnlyItsOwn) {
    CWBChannel other(78);
    other.Connect();
    {
        CWBChannel third(79);
        third.Connect();
        EXPECT_FALSE(third.IsEmpty()) << "never had a session";
        ConnectSession(5);
        ConnectSession(6, 79);
    }
    EXPECT_EQ(channel.GetWBSessionCount(), 1U);
    EXPECT_TRUE(Validate(U32(77)));
    other.ReleaseConnections();
    EXPECT_EQ(channel.GetWBSessionCount(), 0U);
    EXPECT_TRUE(host.net.sessions.back()->released);
    host.TakeSent();
    ConnectSession(7, 78);
    EXPECT_TRUE(host.TakeSent().empty()) << "unregistered";
}

TEST_F(LocalMcuWB, TheSweepDeletesChannelsThatLostAllSessionsAndTheLocalMcuTheOthers) {
    std::vector<unsigned long> deleted;
    struct CCounted : CWBChannel {
        CCounted(unsigned long id, std::vector<unsigned long>& gone) : CWBChannel(id), m_gone(gone) { Connect(); }
        ~CCounted() override { m_gone.push_back(GetWBChannelID()); }
        std::vector<unsigned long>& m_gone;
    };
    for (unsigned long id : {80UL, 81UL, 82UL}) new CCounted(id, deleted);
    ConnectSession(5, 80);
    ConnectSession(6, 81);
    ConnectSession(7);
    GetLocalMCUWB()->RemoveEmptyWBChannels();
    EXPECT_TRUE(deleted.empty());
    channel.ReleaseConnections();  // and all sessions end
    GetLocalMCUWB()->RemoveEmptyWBChannels();
    EXPECT_EQ(deleted, (std::vector<unsigned long>{80, 81})) << "82 never had one";
    host.Release();
    EXPECT_EQ(deleted.size(), 3U);
}

TEST_F(LocalMcuWB, SessionsOfAllTransportsShareOneBoard) {
    CReader reader(channel);
    CReader second(channel);
    ConnectSession(5);
    const uint32_t udp = TakeAck(5);
    Validate(U32(77));
    CFakeTcp& tcp = *host.net.sessions.back();
    tcp.TakeSent();
    reader.throws = true;  // its own affair
    host.Deliver(Hex("0429") + U32(udp) + session_wire::Data(0, Message(kData, 1, 9, "one")));
    reader.throws = false;
    EXPECT_EQ(reader.Heard(), std::vector<std::string>{Message(kOffer, 1, 9)});
    EXPECT_EQ(second.Heard(), std::vector<std::string>{Message(kOffer, 1, 9)});
    auto frames = tcp.TakeSent();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].bytes, Message(kOffer, 1, 9));
    const std::string request = Message(kRequest, 1);
    tcp.sessionNotify->OnTcpSessionNotifyReceivedFrame(request.data(), static_cast<int>(request.size()));
    frames = tcp.TakeSent();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].bytes, Message(kData, 1, 9, "one"));
    host.TakeSent();
    reader.Say(Message(kClear));
    const auto sent = host.TakeSent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].bytes.substr(0, 10), Hex("042a") + U32(5) + U32(udp));
    EXPECT_EQ(session_wire::Payload(sent[0].bytes.substr(10)), Message(kClear));
    EXPECT_EQ(tcp.TakeSent().size(), 1U);
    EXPECT_EQ(second.Heard(), std::vector<std::string>{Message(kClear)});
    EXPECT_TRUE(reader.Heard().empty());
}

TEST_F(LocalMcuWB, ALateJoinerHearsTheAcknowledgementFirstAndThenTheList) {
    CReader reader(channel);
    reader.Say(Message(kData, 3));
    ConnectSession(5);
    const auto sent = host.TakeSent();
    ASSERT_EQ(sent.size(), 3U);
    EXPECT_EQ(sent[1].bytes[1], 0x25);
    EXPECT_EQ(sent[2].bytes[1], 0x2a);
    EXPECT_EQ(session_wire::Payload(sent[2].bytes.substr(10)), Message(kList, 0, 0, Words({3})));
}

TEST_F(LocalMcuWB, ClientsAskAsTheyShould) {
    struct Row {
        const char* what;
        std::vector<uint32_t> peer, local;
        uint16_t localPort;
        bool peerOnly;
        std::vector<uint32_t> asked;
        bool relays;
    };
    for (const Row& row : std::vector<Row>{
             {"the peer's server", {1, 2, 3}, {0, 0, 0}, 9, false, {1, 2, 3}, false},
             {"one address thrice", {1, 1, 1}, {0, 0, 0}, 0, false, {1}, false},
             {"the nearer one", {1, 0, 0}, {4, 5, 4}, 9, false, {4, 5}, true},
             {"which is the same machine", {1, 4, 0}, {4, 5, 0}, 9, false, {1, 4}, false},
             {"without a port", {1, 0, 0}, {4, 0, 0}, 0, false, {1}, false},
             {"never the nearer one", {1, 0, 0}, {4, 0, 0}, 9, true, {1}, false},
         }) {
        SCOPED_TRACE(row.what);
        auto* client = CreateWBSessionClientUDP(notify, 77, row.peer[0], row.peer[1], row.peer[2], 7, row.local[0],
                                                row.local[1], row.local[2], row.localPort, row.peerOnly);
        const auto sent = host.TakeSent();
        std::vector<uint32_t> asked;
        for (const CSentDatagram& one : sent) {
            asked.push_back(one.ip);
            EXPECT_EQ(one.port, row.relays ? row.localPort : 7);
            std::string relay = U32(row.peer[0]) + U32(row.peer[1]) + U32(row.peer[2]) + Hex("0007");
            if (!row.relays) relay = std::string(14, '\0');
            EXPECT_EQ(one.bytes, Hex("0424") + one.bytes.substr(2, 4) + U32(77) + relay);
        }
        EXPECT_EQ(asked, row.asked);
        client->ReleaseConnections();
        client = CreateWBSessionClientTCP(notify, 77, row.peer[0], row.peer[1], row.peer[2], 7, row.local[0],
                                          row.local[1], row.local[2], row.localPort, 0, "", 0, "", "");
        CFakeTcp& tcp = host.net.LastClient();
        tcp.clientNotify->OnTcpClientNotifyConnected();
        const bool relays = row.relays || row.peerOnly;  // over TCP there is no such wish
        const auto request = tcp.TakeSent();
        ASSERT_EQ(request.size(), 1U);
        EXPECT_EQ(request[0].mode, 1);
        EXPECT_EQ(request[0].bytes, U32(9) + U32(18) + U32(77) +
                                        (relays ? U32(row.peer[0]) + U32(row.peer[1]) + U32(row.peer[2]) + Hex("0007")
                                                : std::string(14, '\0')));
        EXPECT_EQ(tcp.dialledHost, GetIpAddr(relays ? row.local[0] : row.peer[0]));
        EXPECT_FALSE(tcp.clientNotify->OnTcpClientNotifyValidate(9, U32(78).data(), 4));
        EXPECT_FALSE(tcp.clientNotify->OnTcpClientNotifyValidate(9, U32(77).data(), 3));
        EXPECT_TRUE(notify.connected.empty());
        client->ReleaseConnections();
    }
}

TEST_F(LocalMcuWB, ClientsTakeTheirChannelOrTheFirst) {
    const auto channelOf = [&](uint32_t asked) {
        auto* client = CreateWBSessionClientUDP(notify, asked, 1, 0, 0, 7, 0, 0, 0, 0, false);
        const auto sent = host.TakeSent();
        if (client) client->ReleaseConnections();
        return sent.empty() ? 0 : ReadU32(sent[0].bytes, 6);
    };
    CWBChannel other(78);
    other.Connect();
    EXPECT_EQ(channelOf(78), 78U);
    EXPECT_EQ(channelOf(79), 77U);
    EXPECT_EQ(CreateWBSessionClientTCP(notify, 77, 1, 0, 0, 0, 0, 0, 0, 0, 0, "", 0, "", ""), nullptr);
    EXPECT_EQ(CreateWBSessionClientTCP(notify, 77, 0, 0, 0, 7, 0, 0, 0, 0, 0, "", 0, "", ""), nullptr);
    channel.ReleaseConnections();
    other.ReleaseConnections();
    EXPECT_EQ(channelOf(77), 0U);
    EXPECT_EQ(CreateWBSessionClientP2P(notify, 77, 8), nullptr);
    EXPECT_EQ(CreateWBSessionClientP2PTCP(notify, 77, 8), nullptr);
    host.Release();
    EXPECT_EQ(CreateWBSessionClientUDP(notify, 77, 1, 0, 0, 7, 0, 0, 0, 0, false), nullptr);
}

TEST_F(LocalMcuWB, WhatIsDrawnBeforeTheFarSideAnswersIsTold) {
    CReader reader(channel);
    reader.Say(Message(kData, 3));
    CAnsweringPeer peer;
    auto* tcp = CreateWBSessionClientP2PTCP(notify, 77, 8);
    reader.Say(Message(kData, 4));
    EXPECT_FALSE(tcp->IsDisconnected()) << "the way is not known yet";
    peer.Announce("P2P_FETCH_ACK", 8);
    EXPECT_FALSE(tcp->IsDisconnected());
    const auto frames = host.net.LastClient().TakeSent();
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0].bytes, Message(kList, 0, 0, Words({3, 4})));
    tcp->ReleaseConnections();
    host.TakeSent();
    auto* udp = CreateWBSessionClientUDP(notify, 77, CTestHost::kPeerIP, 0, 0, 7, 0, 0, 0, 0, false);
    const uint32_t id = ReadU32(host.TakeSent().at(0).bytes, 2);
    host.Deliver(Hex("0425") + U32(id) + U32(600));
    host.Deliver(Hex("0425") + U32(id) + U32(600), CTestHost::kPeerIP, 9);  // only a sign of life
    host.Deliver(Hex("0425") + U32(id) + U32(601));
    EXPECT_EQ(notify.connected.size(), 1U);
    const auto sent = host.TakeSent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(session_wire::Payload(sent[0].bytes.substr(6)), Message(kList, 0, 0, Words({3, 4})));
    udp->ReleaseConnections();
}

TEST_F(LocalMcuWB, WhereMoreWasSaidThanMayWaitTheFarSideGetsTheListAnew) {
    CReader reader(channel);
    reader.Say(Message(kData, 3));
    IWBSessionClient* made = CreateWBSessionClientUDP(notify, 77, CTestHost::kPeerIP, 0, 0, 7, 0, 0, 0, 0, false);
    auto* client = dynamic_cast<CWBClientUDP*>(made);
    ASSERT_TRUE(client);
    client->GetFrameLink()->SetQueueLimit(1000);
    for (int i = 0; i < 10; ++i) reader.Say(Message(23, 0, 0, std::string(200, 'x')));
    const uint32_t id = ReadU32(host.TakeSent().at(0).bytes, 2);
    host.Deliver(Hex("0425") + U32(id) + U32(600));
    const auto sent = host.TakeSent();
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(session_wire::Payload(sent[0].bytes.substr(6)), Message(kList, 0, 0, Words({3})));
    EXPECT_FALSE(made->IsDisconnected());
    made->ReleaseConnections();
}

TEST_F(LocalMcuWB, AFailedNegotiationEndsFourSecondsAfterTheLastOneSeen) {
    auto* client = CreateWBSessionClientP2P(notify, 77, 8);  // no manager: negotiating for ever
    for (int poll = 0; poll < 100; ++poll) {
        host.clock.Advance(10000);
        ASSERT_FALSE(client->IsDisconnected());
    }
    client->ReleaseConnections();
    CAnsweringPeer peer;
    client = CreateWBSessionClientP2P(notify, 77, 8);
    peer.Announce("P2P_START_ACK", 8);
    host.TakeSent();
    EXPECT_FALSE(client->IsDisconnected());
    for (int punch = 0; punch < 100; ++punch) peer.Announce("P2P_CMD_ACK", 8);  // until none is left
    host.clock.Advance(4000);
    EXPECT_FALSE(client->IsDisconnected());
    host.clock.Advance(1);
    EXPECT_TRUE(client->IsDisconnected());
    client->ReleaseConnections();
}

}  // namespace
