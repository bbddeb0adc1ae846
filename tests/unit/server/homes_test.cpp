// One channel number at this server and at two others, in every medium: three channels.
#include "server_host.h"
#include "support/wb_words.h"

#include <gtest/gtest.h>

using session_wire::U32;

namespace {

constexpr uint32_t kChannel = 77;
constexpr uint32_t kNear = 0x7f000001;
constexpr CEndpointAddress kAlice{0x0a000001, 1001};
constexpr CEndpointAddress kBob{0x0a000002, 1002};
constexpr CEndpointAddress kCarol{0x0a000003, 1003};
constexpr CEndpointAddress kDave{0x0a000004, 1004};
constexpr CEndpointAddress kErin{0x0a000005, 1005};
constexpr CEndpointAddress kFirst{0x7f000002, CServerHost::kPort};
constexpr CEndpointAddress kSecond{0x7f000003, CServerHost::kPort};

struct MediumRow {
    const char* name;
    size_t place;  // among the media of the status
    const char *kind, *sinkConnect, *sinkConnectAck, *alive, *down, *up, *bye;
    const char *sourceConnect, *sourceConnectAck, *sourceProof, *sourceFrame;  // none where everybody draws
    bool port, user;                                                           // what the request ends in
    bool session;                                                              // of the frames
    bool mute;                                                                 // `up` validates a subscriber
    uint32_t type;                                                             // of TCP subscribers
    const char* wanted;                                                        // what they say first
    const char* answerTail;                                                    // of the far server, over TCP
};

constexpr MediumRow kRows[] = {
    {"File", 0, "06", "39", "3a", "3b", "3d", "3e", "3f", "40", "41", "45", "42", 0, 0, 1, 0, 13, nullptr, ""},
    {"Desktop", 3, "05", "2b", "2c", "2d", "2f", "30", "31", "32", "33", "37", "34", 1, 0, 1, 1, 11, nullptr, ""},
    {"Audio", 1, "00", "00", "01", "04", "02", nullptr, "08", "12", "13", "17", "19", 1, 1, 0, 0, 3, "00", "00000258"},
    {"Video", 2, "01", "09", "0a", "0b", "0f", nullptr, "11", "1b", "1c", "20", "21", 1, 1, 1, 0, 8, "04", "00000258"},
    {"Board", 4,       "04",    "24", "25", "27", "2a", "29", "26",    nullptr,
     nullptr, nullptr, nullptr, 1,    0,    1,    1,    9,    nullptr, ""},
};

class Homes : public testing::TestWithParam<MediumRow> {
protected:
    bool IsBoard() const { return !row.sourceConnect; }
    /// A frame, and what becomes of it: a board passes on that there is an object.
    std::string Frame(uint32_t n) const {
        return IsBoard() ? wb_words::Message(wb_words::kData, n, 0, "x") : "frame " + std::to_string(n);
    }
    std::vector<std::string> Arrived(uint32_t n) const {
        return {IsBoard() ? wb_words::Message(wb_words::kOffer, n) : Frame(n)};
    }
    std::string Wrapped(uint16_t sequence, const std::string& frame) const {
        return row.session ? session_wire::Data(sequence, frame) : frame;
    }
    std::string Request(uint32_t homeIP, uint32_t second = 0) const {
        return U32(kChannel) + U32(homeIP) + U32(second) + U32(0) +
               (row.port ? U32(homeIP == 0 ? 0 : CServerHost::kPort).substr(2) : "") + (row.user ? U32(0) : "");
    }
    void Say(const char* command, uint32_t id, const CEndpointAddress& address, const std::string& rest = "") {
        host.Deliver(Hex(row.kind) + Hex(command) + U32(id) + rest, address);
    }
    std::string Code(const char* command) const { return std::string(row.kind) + command; }
    /// Its sink's ID, or 0; it is validated then.
    uint32_t Connected(const CEndpointAddress& address) {
        const uint32_t sinkID = host.LastID(address, Code(row.sinkConnectAck), 6);
        host.Take(address);
        if (sinkID != 0 && row.mute) Say(row.up, sinkID, address, session_wire::Ack(0));
        if (sinkID != 0) Say(row.alive, sinkID, address);
        host.Take(address);
        return sinkID;
    }
    uint32_t Ask(const CEndpointAddress& address, uint32_t homeIP, uint32_t second = 0) {
        Say(row.sinkConnect, address.port, address, Request(homeIP, second));
        return Connected(address);
    }
    /// Gives the ID of the leg.
    uint32_t FarAccepts(const CEndpointAddress& far) {
        const auto asked = host.Take(far);
        EXPECT_EQ(asked.size(), 1U);
        if (asked.empty()) return 0;
        EXPECT_EQ(Hex(asked[0]).substr(6), Request(0)) << "the far server must not relay it further";
        const uint32_t legID = session_wire::ReadU32(Hex(asked[0]), 2);
        Say(row.sinkConnectAck, legID, far, U32(600));
        host.Run(10, 10);
        return legID;
    }
    /// Whoever publishes here; on a board, somebody who draws.
    void PublishHere() {
        if (IsBoard()) {
            m_ulOwn = Ask(kAlice, 0);
            return;
        }
        host.Deliver(Hex(Code(row.sourceConnect)) + U32(kChannel) + U32(5), kAlice);
        m_ulOwn = host.LastID(kAlice, Code(row.sourceConnectAck), 6);
        Say(row.sourceProof, m_ulOwn, kAlice);
    }
    void SendHere(uint32_t n) { Say(IsBoard() ? row.up : row.sourceFrame, m_ulOwn, kAlice, Wrapped(0, Frame(n))); }
    /// The frames that have come to a peer since the last call.
    std::vector<std::string> Frames(const CEndpointAddress& address, const char* command) {
        std::vector<std::string> frames;
        for (const std::string& hex : host.Take(address)) {
            if (!command || hex.compare(0, 4, Code(command)) != 0) continue;
            const std::string rest = Hex(hex).substr(command == row.up ? 6 : 10);
            if (!row.session)
                frames.push_back(rest);
            else if (session_wire::IsData(rest))
                frames.push_back(session_wire::Payload(rest));
        }
        return frames;
    }
    std::vector<std::string> Heard(const CEndpointAddress& address) { return Frames(address, row.down); }
    CMediumStatus Status() { return host.server->Media().at(row.place); }

    CFakeTcp* AskTcp(uint32_t homeIP, uint32_t second = 0) {
        CFakeTcp* session = host.Validate(row.type, Request(homeIP, second));
        if (session && row.wanted) CServerHost::FromPeer(*session, Hex(row.wanted));
        if (session) session->TakeSent();
        return session;
    }

    using Texts = std::vector<std::string>;
    const MediumRow row = GetParam();
    CServerHost host;

private:
    uint32_t m_ulOwn = 0;
};

TEST_P(Homes, OneNumberHereAndAtTwoOthersAreThreeChannels) {
    EXPECT_EQ(Ask(kBob, kFirst.ip), 0U) << "not before the far server has accepted";
    const uint32_t first = FarAccepts(kFirst);
    EXPECT_NE(Connected(kBob), 0U);
    if (!IsBoard()) {
        EXPECT_EQ(Ask(kDave, 0), 0U) << "nobody publishes it here";
        host.Deliver(Hex(Code(row.sinkConnect)) + U32(kErin.port) + U32(kChannel) + (row.user ? U32(0) : ""), kErin);
        EXPECT_EQ(Connected(kErin), 0U);
    }
    EXPECT_EQ(Ask(kCarol, kSecond.ip), 0U);
    PublishHere();
    EXPECT_EQ(Connected(kCarol), 0U) << "it has asked for another's";
    const uint32_t second = FarAccepts(kSecond);
    EXPECT_NE(Connected(kCarol), 0U);
    EXPECT_NE(Ask(kDave, 0), 0U);
    EXPECT_NE(Ask(kErin, kFirst.ip, kNear), 0U) << "named by one of its addresses, it is this server's own";
    EXPECT_EQ(Status().channels, 3U);
    EXPECT_EQ(Status().relays, 2U);

    Say(row.down, first, kFirst, U32(600) + Wrapped(0, Frame(1)));
    Say(row.down, second, kSecond, U32(600) + Wrapped(0, Frame(2)));
    SendHere(3);
    EXPECT_EQ(Heard(kBob), Arrived(1));
    EXPECT_EQ(Heard(kCarol), Arrived(2));
    EXPECT_EQ(Heard(kDave), Arrived(3));
    EXPECT_EQ(Heard(kErin), Arrived(3));
    if (row.up) {
        host.Take(kFirst);
        host.Take(kAlice);
        const uint32_t bob = Ask(kBob, kFirst.ip);
        Say(row.up, bob, kBob, Wrapped(0, Frame(4)));
        EXPECT_EQ(Frames(kFirst, row.up), Arrived(4));
        for (const CEndpointAddress& other : {kSecond, kAlice})
            EXPECT_EQ(Frames(other, row.up), Texts()) << "not its home";
        for (const CEndpointAddress& other : {kBob, kCarol, kDave}) EXPECT_EQ(Heard(other), Texts());
    }
    Say(row.bye, Ask(kBob, kFirst.ip), kBob);
    host.Take(kSecond);
    host.Run(12500, 100);
    EXPECT_EQ(host.TakeCount(kFirst, Code(row.bye)), 3U);
    EXPECT_EQ(host.TakeCount(kSecond, Code(row.bye)), 0U);
    EXPECT_EQ(Status().relays, 1U);
    EXPECT_EQ(Status().sinksUdp, IsBoard() ? 4U : 3U);
}

TEST_P(Homes, AndSoOverTcp) {
    CFakeTcp* bob = AskTcp(kFirst.ip);
    EXPECT_EQ(AskTcp(0) != nullptr, IsBoard()) << "nobody publishes it here";
    CFakeTcp* carol = AskTcp(kSecond.ip);
    PublishHere();
    CFakeTcp* dave = AskTcp(0);
    CFakeTcp* shortForm = row.user ? dave : host.Validate(row.type, U32(kChannel));
    ASSERT_TRUE(bob && carol && dave && shortForm);
    ASSERT_EQ(host.net.clients.size(), 2U);
    uint32_t n = 0;
    for (const auto& [far, sink] : {std::pair(kFirst, bob), std::pair(kSecond, carol)}) {
        CFakeTcp& leg = *host.net.clients.at(n);
        EXPECT_EQ(leg.dialledHost, EndpointText(far.ip, 0).substr(0, 9));
        EXPECT_EQ(leg.dialledPort, far.port);
        leg.clientNotify->OnTcpClientNotifyConnected();
        EXPECT_EQ(leg.TakeSent().at(0).bytes,
                  U32(row.type) + U32(static_cast<uint32_t>(Request(0).size())) + Request(0));
        const std::string answer = U32(kChannel) + Hex(row.answerTail);
        EXPECT_TRUE(
            leg.clientNotify->OnTcpClientNotifyValidate(row.type, answer.data(), static_cast<int>(answer.size())));
        const std::string frame = Frame(++n);
        leg.clientNotify->OnTcpClientNotifyReceivedFrame(frame.data(), static_cast<int>(frame.size()));
        EXPECT_EQ(CServerHost::Frames(*sink), Arrived(n));
        CServerHost::Frames(leg);
    }
    SendHere(3);
    EXPECT_EQ(CServerHost::Frames(*dave), Arrived(3));
    if (row.up) {
        CServerHost::FromPeer(*carol, Frame(4));
        EXPECT_EQ(CServerHost::Frames(*host.net.clients.at(1)), Arrived(4));
    }
    for (CFakeTcp* const other : {bob, carol, host.net.clients.at(0).get()})
        EXPECT_EQ(CServerHost::Frames(*other), Texts());
    EXPECT_TRUE(AskTcp(kFirst.ip, kSecond.ip) && AskTcp(kSecond.ip, kFirst.ip));
    EXPECT_EQ(host.net.clients.size(), 3U) << "one server, whichever address comes first";
    if (row.port) {
        EXPECT_EQ(host.Validate(row.type, Request(kFirst.ip).replace(16, 2, 2, '\0')), nullptr) << "no port";
    }
}

INSTANTIATE_TEST_SUITE_P(Media, Homes, testing::ValuesIn(kRows),
                         [](const testing::TestParamInfo<MediumRow>& one) { return std::string(one.param.name); });

}  // namespace
