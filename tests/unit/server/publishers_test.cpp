// What every medium's publishers are asked and told, and where their frames and those of their subscribers go.
#include "server_host.h"
#include "support/medium_app.h"

#include <gtest/gtest.h>

using session_wire::Ack;
using session_wire::Data;
using session_wire::ReadU32;
using session_wire::U32;

namespace {

class Publishers : public testing::TestWithParam<CTestMedium>, protected CServerHost {
protected:
    Publishers() : CServerHost(GetParam().row) {}

    std::string Alive(uint32_t wanted) const {
        return ToHex(Datagram(row, row.source.keepAlive, {kKey}, row.Stops() ? U32(wanted) : ""));
    }
    /// What one is told whom nobody listens to.
    std::string Idle() const { return row.Stops() ? ToHex(Datagram(row, row.source.stop, {kKey})) : Alive(0); }
    /// What Alice has been told since the last call, packets of the session left out.
    Texts Told() {
        Texts told = Take(kAlice);
        std::erase_if(told, [&](const std::string& one) {
            return one != Idle() && !one.starts_with(Code(row.source.keepAlive));
        });
        return told;
    }
};

TEST_P(Publishers, AreAskedWithinTheirBudgetUntilTheyAnswer) {
    const CSourceRow& source = row.source;
    EXPECT_EQ(Acknowledged(kAlice, 0), 0U) << "channel 0 does not exist";
    uint32_t id = 0;
    std::string ack;
    for (int requests = 0; requests < 5; ++requests) {
        Deliver(Claim(kChannel), kAlice);
        id = LastID(kAlice, source.connectAck, 6);
        ack = ToHex(Datagram(row, source.connectAck, {kKey, id, 0}));
        EXPECT_EQ(Take(kAlice), (Texts{ack, Idle()})) << "the answers before may have been lost";
    }
    RunFor(60000);
    EXPECT_EQ(Take(kAlice), Texts(5, Idle())) << "a sixth would exceed three times what came, headers included";
    Say(source.keepAliveAck, id, kBob);
    EXPECT_TRUE(lines.empty()) << "not validated, certainly not by somebody else";

    Say(source.keepAliveAck, id, kAlice);
    EXPECT_EQ(Take(kAlice), Texts(static_cast<size_t>(source.connectAcks - 1), ack)) << "against loss";
    const std::string name = std::string(row.name) + " source 10.0.0.1:1001 (udp) ";
    EXPECT_EQ(LastLine(), name + "publishes channel 77");
    EXPECT_EQ(Acknowledged(kAlice), static_cast<size_t>(source.connectAcks)) << "asked again by the same sender";
    RunFor(20000);
    const Texts asked = Take(kAlice);
    EXPECT_NEAR(static_cast<double>(asked.size()), 10, 1);
    EXPECT_EQ(asked, Texts(asked.size(), Idle()));
    Say(source.disconnect, id, kCarol);
    EXPECT_EQ(Status().sourcesUdp, 1U) << "somebody else's goodbye is nobody's";
    Say(source.disconnect, id, kAlice);
    EXPECT_EQ(LastLine(), name + "left channel 77");
}

TEST_P(Publishers, AreToldWhenWhatTheirSubscribersWantChanges) {
    Publish();
    const uint32_t bob = Connect(LongRequest(9, kChannel, {}), kBob);
    EXPECT_EQ(Told(), Texts()) << "a stranger's request is no change";
    Answer(kBob, bob);
    EXPECT_EQ(Told(), Texts{Alive(1)});
    Say(row.sink.keepAlive, bob, kBob);
    EXPECT_EQ(Told(), Texts()) << "no news";
    const uint32_t carol = Subscribe(10, kCarol);
    EXPECT_EQ(Told(), Texts{Alive(2)});
    RunFor(2300);  // the work of a second, twice
    EXPECT_EQ(Told(), Texts{Alive(2)});
    Say(row.Stops() ? row.sink.stop : row.sink.disconnect, bob, kBob);
    EXPECT_EQ(Told(), Texts{Alive(1)});
    Say(row.sink.disconnect, carol, kCarol);
    EXPECT_EQ(Told(), Texts{Idle()});
    RunFor(2300);
    EXPECT_EQ(Told(), Texts{Idle()});
    Subscribe(11, kCarol);
    Told();
    server->Drain();
    EXPECT_EQ(Told(), row.Stops() ? Texts{Idle()} : Texts()) << "the server ends";
}

TEST_P(Publishers, FramesGoDownToWhoeverWantsThemAndUpToThePublisherAlone) {
    const uint32_t source = Publish(), bob = Subscribe(9, kBob);
    CFakeTcp* tcp = SubscribeTcp();
    ASSERT_TRUE(source && bob && tcp);
    if (row.Stops()) tcp->Hear(std::string(1, row.tcp.start));
    tcp->TakeSent();
    Take(kAlice);
    const uint16_t first = row.asksOnce ? 1 : 0;  // behind the packet that asked for an answer
    Say(row.source.frame, source, kCarol, Wrapped(0, "frame"));
    EXPECT_TRUE(Take(kBob).empty() && tcp->sent.empty()) << "of somebody else";
    Say(row.source.frame, source, kAlice, Wrapped(0, "frame"));
    EXPECT_EQ(Take(kBob), Texts{ToHex(Datagram(row, row.sink.frame, {9, bob}, Wrapped(first, "frame")))});
    EXPECT_EQ(tcp->TakeFrames(), Texts{"frame"});
    const std::string widest = session_wire::Packet(0, 0x21, 31 << 3, "");  // window that can be said
    EXPECT_EQ(Take(kAlice), row.session ? Texts{ToHex(Datagram(row, row.source.frameAck, {kKey}, widest))} : Texts());
    if (row.session) Say(row.sink.frameAck, bob, kBob, Ack(first));
    Say(row.source.frame, source, kAlice, Wrapped(1, "x"));
    EXPECT_EQ(TakeCount(kBob, row.sink.frame) + tcp->TakeFrames().size(), 0U) << "a keep-alive of TCP is no frame";

    Take(kAlice);
    for (const CEndpointAddress& other : {kCarol, CEndpointAddress{kBob.ip, 999}}) {
        for (const uint8_t command : {row.sink.keepAlive, row.sink.stop, row.sink.disconnect}) Say(command, bob, other);
        if (row.session) Say(row.sink.frameAck, bob, other, Data(0, "up"));
        for (const std::string& request : {Request(9), LongRequest(9, kChannel, {})}) Deliver(request, other);
        EXPECT_EQ(Take(other), Texts()) << "the subscriber has another address";
    }
    EXPECT_EQ(SinkCount(), 2U);
    EXPECT_EQ(Take(kAlice), Texts());
    if (!row.Stops()) {
        Say(row.sink.frameAck, bob, kBob, Data(0, "up"));
        EXPECT_EQ(Take(kAlice), Texts{ToHex(Datagram(row, row.source.frameAck, {kKey}, Data(0, "up")))});
        EXPECT_TRUE(tcp->sent.empty()) << "never down";
    }
    tcp->Hear("over tcp");
    EXPECT_EQ(Status().traffic.framesUp, row.Stops() ? 0U : 2U);
}

TEST_P(Publishers, OverTcpLiveAsLongAsTheirConnections) {
    for (const std::string& refused : {U32(0), U32(kChannel) + "x", std::string()})
        EXPECT_FALSE(Validate(row.tcp.sender, refused));
    CFakeTcp* publisher = PublishTcp();
    ASSERT_TRUE(publisher);
    EXPECT_EQ(publisher->sent.at(0).mode, 1);
    EXPECT_EQ(publisher->sent.at(0).bytes, Validation(row.tcp.sender, U32(kChannel)));
    publisher->TakeSent();
    EXPECT_FALSE(PublishTcp()) << "the place is taken";
    RunFor(200000, 1001);
    EXPECT_EQ(Acknowledged(kAlice), 0U) << "silence is no reason";
    const Texts idle = publisher->TakeFrames();
    EXPECT_NEAR(static_cast<double>(idle.size()), 200 / 11.0, 2) << "keep-alives show a dead connection";
    EXPECT_EQ(idle, Texts(idle.size(), std::string(1, row.Stops() ? row.tcp.stop : row.tcp.start)));
    publisher->lost = true;
    EXPECT_TRUE(PublishTcp()) << "as soon as the connection is gone";
    EXPECT_TRUE(publisher->released);
}

TEST_P(Publishers, SubscribersOverTcpAskForThemInTwoLengths) {
    Publish();
    const std::string fields = LongFields(kChannel, {});
    for (size_t length = 0; length <= fields.size() + 1; ++length) {
        CFakeTcp* sink = Validate(row.tcp.receiver, (fields + "x").substr(0, length));
        EXPECT_EQ(sink != nullptr, length == fields.size() || (length == 4 && !row.Stops())) << length;
        if (!sink) continue;
        const std::string answer = sink->TakeSent().at(0).bytes;
        const std::string sinkID = row.Stops() ? answer.substr(12) : "";
        EXPECT_EQ(answer, Validation(row.tcp.receiver, U32(kChannel) + sinkID));
        EXPECT_TRUE(!row.Stops() || ReadU32(sinkID, 0) != 0);
    }
    for (const uint32_t type : {0U, 1U, 14U, ~0U}) EXPECT_FALSE(Validate(wire::TcpType{type}, U32(kChannel))) << type;
}

INSTANTIATE_TEST_SUITE_P(Media, Publishers, testing::Values(kAudio, kVideo, kDesktop, kFile),
                         testing::PrintToStringParamName());

}  // namespace
