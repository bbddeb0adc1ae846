// The whiteboard part of the local MCU: sessions of mixed transports on one board, and what a client is told.
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

    CTestHost host;
    CNotify notify;
    CWBChannel channel{77};
};

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
    const uint32_t udp = ReadU32(host.TakeSent().at(0).bytes, 6);
    host.net.TcpServer().Validate(&host.net.NewSession(), 9, U32(77));
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

}  // namespace
