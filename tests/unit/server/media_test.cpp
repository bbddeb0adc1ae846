// What holds in all five media: what a stranger is sent, and that one channel number at this server and at two others
// names three channels.
#include "server_host.h"
#include "support/medium_app.h"
#include "support/wb_words.h"

#include <gtest/gtest.h>

using session_wire::U32;

namespace {

constexpr uint32_t kNear = 0x7f000001;
constexpr CEndpointAddress kDave{0x0a000004, 1004};
constexpr CEndpointAddress kErin{0x0a000005, 1005};

class Media : public testing::TestWithParam<CTestMedium>, protected CServerHost {
protected:
    Media() : CServerHost(GetParam().row) {}

    /// A frame, and what becomes of it: a board passes on that there is an object.
    std::string Frame(uint32_t n) const {
        const std::string content = std::to_string(n) + std::string(1000, 'x');
        return row.board ? wb_words::Message(wb_words::kData, n, 0, content) : content;
    }
    Texts Arrived(uint32_t n) const { return {row.board ? wb_words::Message(wb_words::kOffer, n) : Frame(n)}; }
    static CMcuAddress At(const CEndpointAddress& server, uint32_t second = 0) {
        return {{server.ip, second, 0}, server.port};
    }
    /// Whoever publishes here; on a board, somebody who draws.
    void PublishHere() { m_ulOwn = row.board ? Subscribe(kAlice.port, kAlice) : Publish(); }
    void SendHere(uint32_t n) {
        Say(row.board ? row.sink.frameAck : row.source.frame, m_ulOwn, kAlice, Wrapped(m_usNext++, Frame(n)));
    }
    /// A validated subscriber's sink ID; 0 where nobody has answered it.
    uint32_t Come(const CEndpointAddress& address) {
        const uint32_t sinkID = Connected(address);
        if (sinkID != 0) Answer(address, sinkID);
        Take(address);
        return sinkID;
    }
    uint32_t Ask(const CEndpointAddress& address, const CMcuAddress& home = {}) {
        Deliver(LongRequest(address.port, kChannel, home), address);
        return Come(address);
    }
    /// Gives the ID of the leg.
    uint32_t FarAccepts(const CEndpointAddress& far) {
        const uint32_t legID = LastID(far, row.sink.connect, 2);
        const std::string request = Datagram(row, row.sink.connect, {legID}, LongFields(kChannel, {}, 0));
        EXPECT_EQ(Take(far), Texts{ToHex(request)}) << "once, on nobody's behalf, and not to be relayed further";
        Say(row.sink.connectAck, legID, far, U32(600));
        RunFor(10, 10);
        return legID;
    }
    /// The frames that have come to a peer with this command since the last call, behind so many bytes.
    Texts Frames(const CEndpointAddress& address, uint8_t command, size_t envelope) {
        Texts frames;
        for (const std::string& hex : Take(address)) {
            if (!hex.starts_with(Code(command))) continue;
            const std::string rest = Hex(hex).substr(envelope);
            if (!row.session) frames.push_back(rest);
            if (row.session && session_wire::IsData(rest)) frames.push_back(session_wire::Payload(rest));
        }
        return frames;
    }
    Texts Heard(const CEndpointAddress& address) { return Frames(address, row.sink.frame, 10); }
    Texts HeardByAlice() { return row.board ? Heard(kAlice) : Frames(kAlice, row.source.frameAck, 6); }

    CFakeTcp* AskTcp(const CMcuAddress& home = {}) {
        CFakeTcp* session = SubscribeTcp(kChannel, home);
        if (session && row.Stops()) session->Hear(std::string(1, row.tcp.start));
        if (session) session->TakeSent();
        return session;
    }

    const CEndpointAddress first{0x7f000002, row.sink.namesPort ? uint16_t{7005} : kPort};
    const CEndpointAddress second{0x7f000003, first.port};

private:
    uint32_t m_ulOwn = 0;
    uint16_t m_usNext = 0;
};

TEST_P(Media, AStrangerIsSentLittleUntilItAnswers) {
    PublishHere();
    const size_t before = lines.size();
    const std::string request = LongRequest(9, kChannel, {});
    size_t bytes = 0, acks = 0;
    uint32_t sink = 0;
    for (uint16_t asked = 1; asked <= 5; ++asked) {
        Deliver(request, kBob);
        sink = LastID(kBob, row.sink.connectAck, 6);
        SendHere(asked);
        RunFor(1000);
        for (const std::string& one : Take(kBob)) {
            bytes += one.size() / 2 + 28;
            acks += one.starts_with(Code(row.sink.connectAck)) ? 1 : 0;
        }
        EXPECT_EQ(acks, 2U * asked);
        EXPECT_LE(bytes, asked * 3 * (request.size() + 28));
    }
    EXPECT_EQ(Status().unvalidated, 1U);
    Answer(kCarol, sink);
    EXPECT_TRUE(Take(kBob).empty()) << "somebody else's answer";
    EXPECT_EQ(lines.size(), before) << "not yet a subscriber";

    Answer(kBob, sink);
    const std::string name = std::string(row.name) + " sink 10.0.0.2:1002 (udp) ";
    EXPECT_EQ(LastLine(), name + "came to channel 77");
    EXPECT_EQ(Heard(kBob).empty(), row.Stops()) << "what has waited";
    Say(row.sink.disconnect, sink, kBob);
    EXPECT_EQ(LastLine(), name + "left channel 77");
    EXPECT_NE(Connect(Request(10), kCarol), 0U) << "the short form";
}

TEST_P(Media, OneNumberHereAndAtTwoOthersAreThreeChannels) {
    EXPECT_EQ(Ask(kBob, At({1, first.port})), 0U);
    EXPECT_TRUE(net.Udp().sent.empty()) << "nobody may be asked there";
    EXPECT_EQ(Ask(kBob, At(first)), 0U) << "not before the far server has accepted";
    const uint32_t leg = FarAccepts(first), bob = Come(kBob);
    EXPECT_NE(bob, 0U);
    EXPECT_EQ(LastLine(), std::string(row.name) + " sink 10.0.0.2:1002 (udp) came to channel 77 of " +
                              EndpointText(first.ip, first.port));
    if (!row.board) {
        EXPECT_EQ(Ask(kDave), 0U) << "nobody publishes it here";
        EXPECT_EQ(Connect(Request(kErin.port), kErin), 0U);
    }
    EXPECT_EQ(Ask(kCarol, At(second)), 0U);
    PublishHere();
    EXPECT_EQ(Come(kCarol), 0U) << "it has asked for another's";
    const uint32_t other = FarAccepts(second);
    EXPECT_NE(Come(kCarol), 0U);
    EXPECT_NE(Ask(kDave), 0U);
    EXPECT_NE(Ask(kErin, At({first.ip, kPort}, kNear)), 0U) << "named by one of its addresses, it is this server's own";
    EXPECT_EQ(Status().channels, 3U);
    EXPECT_EQ(Status().relays, 2U);

    Say(row.sink.frame, leg, first, U32(600) + Wrapped(0, Frame(1)));
    Say(row.sink.frame, other, second, U32(600) + Wrapped(0, Frame(2)));
    SendHere(3);
    EXPECT_EQ(Heard(kBob), Arrived(1));
    EXPECT_EQ(Heard(kCarol), Arrived(2));
    EXPECT_EQ(Heard(kDave), Arrived(3));
    EXPECT_EQ(Heard(kErin), Arrived(3));
    Take(first);
    HeardByAlice();
    if (row.Stops()) {
        const auto says = [&](uint8_t command) {
            Say(command, bob, kBob);
            RunFor(100);
            return TakeCount(first, command);
        };
        EXPECT_EQ(says(row.sink.stop), 2U) << "nobody wants it at the moment";
        EXPECT_EQ(says(row.sink.keepAlive), 2U);
    } else {
        Say(row.sink.frameAck, bob, kBob, Wrapped(0, Frame(4)));
        EXPECT_EQ(Frames(first, row.sink.frameAck, 6), Arrived(4));
        EXPECT_EQ(Frames(second, row.sink.frameAck, 6), Texts()) << "not its home";
        EXPECT_EQ(HeardByAlice(), Texts());
        for (const CEndpointAddress& another : {kBob, kCarol, kDave}) EXPECT_EQ(Heard(another), Texts());
    }
    Say(row.sink.disconnect, bob, kBob);
    Take(second);
    RunFor(12500, 100);
    EXPECT_EQ(TakeCount(first, row.sink.disconnect), 3U);
    EXPECT_EQ(TakeCount(second, row.sink.disconnect), 0U);
    EXPECT_EQ(Status().relays, 1U);
    EXPECT_EQ(Status().sinksUdp, row.board ? 4U : 3U);
}

TEST_P(Media, AndSoOverTcp) {
    CFakeTcp* bob = AskTcp(At(first));
    EXPECT_EQ(AskTcp() != nullptr, row.board) << "nobody publishes it here";
    CFakeTcp* carol = AskTcp(At(second));
    PublishHere();
    CFakeTcp* dave = AskTcp();
    CFakeTcp* shortForm = row.Stops() ? dave : Validate(row.tcp.receiver, U32(kChannel));
    ASSERT_TRUE(bob && carol && dave && shortForm);
    ASSERT_EQ(net.clients.size(), 2U);
    Texts wanted;
    if (row.Stops()) wanted.emplace_back(1, row.tcp.start);
    if (row.tcp.keyFrame != 0) wanted.emplace_back(1, row.tcp.keyFrame);
    uint32_t n = 0;
    for (const auto& [far, sink] : {std::pair(first, bob), std::pair(second, carol)}) {
        CFakeTcp& leg = *net.clients.at(n);
        EXPECT_EQ(leg.dialledHost + ":" + std::to_string(leg.dialledPort), EndpointText(far.ip, far.port));
        leg.clientNotify->OnTcpClientNotifyConnected();
        EXPECT_EQ(leg.TakeSent().at(0).bytes, Validation(row.tcp.receiver, LongFields(kChannel, {}, 0)));
        RunFor(1000);
        EXPECT_EQ(leg.TakeFrames(), Texts()) << "not there yet";
        EXPECT_TRUE(leg.Answer(static_cast<uint32_t>(row.tcp.receiver), U32(kChannel) + (row.Stops() ? U32(600) : "")));
        RunFor(490, 10);
        if (row.board) leg.TakeFrames();
        EXPECT_EQ(leg.TakeFrames(), wanted);
        sink->TakeSent();
        leg.Hear(Frame(++n));
        EXPECT_EQ(sink->TakeFrames(), Arrived(n));
    }
    SendHere(3);
    EXPECT_EQ(dave->TakeFrames(), Arrived(3));
    if (!row.Stops()) {
        carol->Hear(Frame(4));
        EXPECT_EQ(net.clients.at(1)->TakeFrames(), Arrived(4));
    }
    for (CFakeTcp* const other : {bob, carol, net.clients.at(0).get()}) EXPECT_EQ(other->TakeFrames(), Texts());
    EXPECT_TRUE(AskTcp(At(first, second.ip)) && AskTcp(At({second.ip, second.port}, first.ip)));
    EXPECT_EQ(net.clients.size(), 3U) << "one server, whichever address comes first";
    EXPECT_EQ(AskTcp(At({first.ip, 0})) == nullptr, row.sink.namesPort) << "without a port";
}

INSTANTIATE_TEST_SUITE_P(All, Media, testing::Values(kFile, kAudio, kVideo, kDesktop, kWhiteboard),
                         testing::PrintToStringParamName());

}  // namespace
