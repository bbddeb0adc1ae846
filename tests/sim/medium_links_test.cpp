// What senders and receivers of every medium say to servers and take from them, byte for byte.
#include "support/medium_scene.h"

using session_wire::ReadU32;
using session_wire::U32;

namespace {

class MediumSenders : public MediumScene {};

TEST_P(MediumSenders, AskEveryAddressOnceAndGoToTheOneThatAnswers) {
    const CSourceRow& source = Row().source;
    CMade sender = app->Sender(false, {{10, 10, 11}, 7000});
    const auto asked = host.TakeSent();
    ASSERT_EQ(asked.size(), 2U) << "each distinct address once";
    const uint32_t key = ReadU32(asked[0].bytes, 6);
    for (uint32_t i = 0; i < 2; ++i) {
        EXPECT_EQ(asked[i].ip, 10 + i);
        EXPECT_EQ(asked[i].port, 7000);
        EXPECT_EQ(asked[i].bytes, Say(source.connect, {kChannelID, key}));
    }
    const auto acknowledge = [&](uint32_t id, uint32_t ip, uint16_t port) {
        host.Deliver(Say(source.connectAck, {key, id, 0}), ip, port);
    };
    acknowledge(0, 10, 7000);  // no source
    acknowledge(kSourceID, 11, 7100);
    acknowledge(kSourceID, 11, 7100);
    acknowledge(501, 10, 7000);  // a slower answer of the other address
    EXPECT_EQ(app->connected, std::vector<uint32_t>{11});
    EXPECT_TRUE(host.TakeSent().empty());
    const uint64_t signs = Signs();
    const std::string keepAlive = Say(source.keepAlive, {key}, Row().Stops() ? U32(3) : "");
    host.Deliver(keepAlive);
    EXPECT_EQ(Signs(), signs + 1);
    ExpectSent(Say(source.keepAliveAck, {kSourceID}), 1, 11, 7100);
    app->Write("1234");
    ExpectSent(Say(source.frame, {kSourceID}, Framed("1234")), 1, 11, 7100);
    LumoLinkStatistics link;
    ASSERT_TRUE(GetLinkStatistics(0, link));
    EXPECT_EQ(link.ulLinkID, kSourceID);
    EXPECT_EQ(link.ulRemoteIP, 11U);
    EXPECT_EQ(link.byKind, static_cast<unsigned char>(Row().kind));
    sender.Release();
    ExpectSent(Say(source.disconnect, {kSourceID}), 3, 11, 7100);
    EXPECT_EQ(app->SinkCount() + Links(), 0U);
    host.Deliver(keepAlive);  // late: nobody is there
    EXPECT_TRUE(host.TakeSent().empty());
}

TEST_P(MediumSenders, AreNotMadeWithoutAnAddressAPortOrAChannel) {
    for (const bool tcp : {false, true}) {
        EXPECT_FALSE(app->Sender(tcp, {{0, 0, 0}, 7000}));
        EXPECT_FALSE(app->Sender(tcp, {{1, 0, 0}, 0}));
        app->asksFor = 78;
        EXPECT_FALSE(app->Sender(tcp, kServer));
        app->asksFor = kChannelID;
    }
    host.net.refuseTcpClient = true;
    EXPECT_FALSE(app->Sender(true, kServer));
    EXPECT_EQ(app->SinkCount() + Links() + host.TakeSent().size(), 0U);
}

TEST_P(MediumSenders, OverTcpDialTheFirstAddressAndNameTheirChannel) {
    CMade sender = app->Sender(true, {{0, 9, 0}, 7000});
    CFakeTcp& client = host.net.LastClient();
    EXPECT_EQ(client.dialledHost, "0.0.0.0") << "address 0 and only that";
    EXPECT_EQ(client.dialledPort, 7000);
    EXPECT_EQ(client.proxy, CMediumApp::kProxy);
    client.clientNotify->OnTcpClientNotifyConnected();
    const wire::TcpType type = Row().tcp.sender;
    EXPECT_EQ(client.TakeSent().at(0).bytes, Validation(type, U32(kChannelID)));
    EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(static_cast<unsigned long>(type), nullptr, 4));
    for (const std::string& refused : {U32(kChannelID).substr(1), U32(kChannelID) + "x", U32(0)})
        EXPECT_FALSE(Answer(client, type, refused));
    EXPECT_TRUE(app->connected.empty());
    EXPECT_EQ(Answer(client, type, U32(78)), !Row().Stops()) << "shares take whatever channel is echoed";
    app->connected.clear();
    EXPECT_TRUE(Answer(client, wire::TcpType{99}, U32(kChannelID))) << "the type is not looked at";
    EXPECT_EQ(app->connected, std::vector<uint32_t>{client.remoteIP});
    sender.Release();
    EXPECT_TRUE(client.released);
    EXPECT_EQ(app->SinkCount() + Links(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Media, MediumSenders, testing::Values(kAudio, kVideo, kDesktop, kFile),
                         testing::PrintToStringParamName());

struct AskRow {
    const char* what;
    CMcuAddress publishers, near;
    bool publishersOnly;
    std::vector<uint32_t> asked;
    bool relays;
};
const AskRow kAsks[] = {
    {"the publisher's server", {{1, 2, 3}, 7}, {{0, 0, 0}, 9}, false, {1, 2, 3}, false},
    {"one address thrice", {{1, 1, 1}, 7}, {{0, 0, 0}, 0}, false, {1}, false},
    {"the nearer one", {{1, 0, 3}, 7}, {{4, 5, 4}, 9}, false, {4, 5}, true},
    {"which is the same machine", {{1, 4, 0}, 7}, {{4, 5, 0}, 9}, false, {1, 4}, false},
    {"without a port", {{1, 0, 0}, 7}, {{4, 0, 0}, 0}, false, {1}, false},
    {"never the nearer one", {{1, 0, 0}, 7}, {{4, 0, 0}, 9}, true, {1}, false},
};

class MediumReceivers : public MediumScene {
protected:
    /// What a request says behind the channel.
    std::string Relay(const AskRow& row, bool relays) const {
        std::string fields;
        for (const uint32_t ip : row.publishers.ips) fields += U32(relays ? ip : 0);
        if (Row().sink.namesPort) fields += U32(relays ? row.publishers.port : 0).substr(2);
        if (Row().sink.namesUser) fields += U32(CMediumApp::kUserID);
        return fields;
    }
};

TEST_P(MediumReceivers, AskTheRightServer) {
    for (const AskRow& row : kAsks) {
        if (row.publishersOnly && !GetParam().needsChannel) continue;  // there is no such wish
        SCOPED_TRACE(row.what);
        CMade receiver = app->Receiver(false, row.publishers, row.near, row.publishersOnly);
        const auto sent = host.TakeSent();
        ASSERT_EQ(sent.size(), row.asked.size());
        for (size_t i = 0; i < sent.size(); ++i) {
            EXPECT_EQ(sent[i].ip, row.asked[i]);
            EXPECT_EQ(sent[i].port, row.relays ? row.near.port : row.publishers.port);
            const uint32_t id = ReadU32(sent[i].bytes, 2);
            EXPECT_EQ(sent[i].bytes, Say(Row().sink.connect, {id, kChannelID}, Relay(row, row.relays)));
        }
        receiver.Release();
        EXPECT_TRUE(host.TakeSent().empty()) << "nobody to say goodbye to";
        EXPECT_TRUE(app->ReceiverIDs().empty());
    }
}

TEST_P(MediumReceivers, DialTheRightServer) {
    const wire::TcpType type = Row().tcp.receiver;
    const std::string rest = Row().Stops() ? U32(kSinkID) : "";
    for (const AskRow& row : kAsks) {
        SCOPED_TRACE(row.what);
        app->connected.clear();
        CMade receiver = app->Receiver(true, row.publishers, row.near);
        const bool relays = row.relays || row.publishersOnly;  // over TCP nobody has such a wish
        const CMcuAddress& server = relays ? row.near : row.publishers;
        CFakeTcp& client = host.net.LastClient();
        EXPECT_EQ(client.dialledHost, GetIpAddr(server.ips[0]));
        EXPECT_EQ(client.dialledPort, server.port);
        EXPECT_EQ(client.proxy, CMediumApp::kProxy);
        client.clientNotify->OnTcpClientNotifyConnected();
        EXPECT_EQ(client.TakeSent().at(0).bytes, Validation(type, U32(kChannelID) + Relay(row, relays)));
        for (const std::string& refused : {U32(78) + rest, (U32(kChannelID) + rest).substr(1)})
            EXPECT_FALSE(Answer(client, type, refused));
        EXPECT_FALSE(client.clientNotify->OnTcpClientNotifyValidate(static_cast<unsigned long>(type), nullptr,
                                                                    static_cast<int>(4 + rest.size())));
        EXPECT_TRUE(app->connected.empty());
        EXPECT_TRUE(Answer(client, wire::TcpType{99}, U32(kChannelID) + rest)) << "the type is not looked at";
        EXPECT_EQ(app->connected, std::vector<uint32_t>{client.remoteIP});
    }
    EXPECT_FALSE(app->Receiver(true, {{0, 0, 0}, 7000}, {{1, 0, 0}, 1}));
    EXPECT_FALSE(app->Receiver(true, {{1, 0, 0}, 0}, {{1, 0, 0}, 1}));
    EXPECT_EQ(Links(), 0U);
}

TEST_P(MediumReceivers, KnowTheirSinkByItsIdAndAddress) {
    const CSinkRow& sink = Row().sink;
    CMade receiver = app->Receiver(false, kServer);
    const uint32_t id = SentID(2);
    const auto say = [&](uint8_t code, uint32_t sinkID, uint32_t ip, uint16_t port, const std::string& rest = "") {
        host.Deliver(Say(code, {id, sinkID}, rest), ip, port);
    };
    say(sink.connectAck, 0, 10, 7000);
    EXPECT_TRUE(host.TakeSent().empty() && app->connected.empty()) << "no sink; asking again would be answered again";
    say(sink.connectAck, kSinkID, 10, 7000);
    for (const CSentDatagram& one : host.TakeSent()) EXPECT_EQ(one.bytes, Say(sink.keepAlive, {kSinkID}));
    say(sink.connectAck, 601, 11, 7000);
    EXPECT_TRUE(host.TakeSent().empty()) << "the first sink wins";
    EXPECT_EQ(app->connected, std::vector<uint32_t>{10});
    const uint64_t signs = Signs();
    const struct {
        uint32_t sinkID, ip;
        uint16_t port;
    } others[] = {{601, 10, 7000}, {kSinkID, 11, 7000}, {kSinkID, 10, 7001}};
    for (const auto& other : others) {
        say(sink.frame, other.sinkID, other.ip, other.port, Framed("frame"));
        say(sink.keepAliveAck, other.sinkID, other.ip, other.port);
        say(sink.stopAck, other.sinkID, other.ip, other.port);
    }
    EXPECT_EQ(Signs(), signs) << "answers from elsewhere are no sign of life";
    EXPECT_TRUE(host.TakeSent().empty() && app->delivered.empty());
    say(sink.frame, kSinkID, 10, 7000, Framed("frame"));
    EXPECT_EQ(app->delivered, std::vector<std::string>{"frame"});
    EXPECT_EQ(host.TakeSent().size(), Row().session ? 1U : 0U);
    EXPECT_EQ(Signs(), signs + 1);
    receiver.Release();
    ExpectSentToServer(Say(sink.disconnect, {kSinkID}), 3);
    EXPECT_EQ(Links(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Media, MediumReceivers, testing::Values(kAudio, kVideo, kWhiteboard, kDesktop, kFile),
                         testing::PrintToStringParamName());

}  // namespace
