// One list of scenarios for every role, transport and medium.
#include "core/wire/commands.h"
#include "lumomedia/statistics.h"
#include "platform/lumobase/app_log.h"
#include "sim/endpoint.h"
#include "support/log_capture.h"

namespace endpoints {
namespace {

constexpr uint32_t kConnectedTimeout = 180000;
using enum Role;
using enum Way;

const EndpointRow kEndpoints[] = {
    // name, medium, role, way, session, minWrite, minArrive, connectTimeout, resends, keepAliveEvery, atAccept,
    // restarts, goodbyes
    {"FileSinkUDP", kFile, Sink, Server, true, 2, 1, 0, false, 0, 0, false, 0},
    {"FileSenderUDP", kFile, Sender, Server, true, 2, 2, 2000, true, 0, 0, false, 3},
    {"FileReceiverUDP", kFile, Receiver, Server, true, 2, 2, 30000, true, 12, 1, false, 3},
    {"FileReceiverUDPPublishersOnly", kFile, Receiver, PublishersOnly, true, 2, 2, 4000, true, 12, 1, false, 3},
    {"FileReceiverP2P", kFile, Receiver, Waiting, true, 2, 2, 2000, true, 12, 1, false, 3},
    {"DesktopSinkUDP", kDesktop, Sink, Server, true, 2, 1, 0, false, 0, 0, false, 0},
    {"DesktopSenderUDP", kDesktop, Sender, Server, true, 2, 2, 30000, true, 0, 0, false, 3},
    {"DesktopReceiverUDP", kDesktop, Receiver, Server, false, 2, 1, kNeverThere, false, 0, 0, false, 3},
    {"DesktopReceiverP2P", kDesktop, Receiver, Waiting, false, 2, 1, kNeverThere, false, 0, 0, false, 2},
    {"DesktopReceiverP2PAsking", kDesktop, Receiver, Asking, false, 2, 1, 2000, true, 12, 1, false, 2},
    {"AudioSinkUDP", kAudio, Sink, Server, false, 3, kNever, 0, false, 0, 0, false, 0},
    {"AudioSenderUDP", kAudio, Sender, Server, false, 3, kNever, 30000, true, 0, 0, false, 3},
    {"AudioReceiverUDP", kAudio, Receiver, Server, false, kNever, 1, 30000, true, 12, 2, false, 3},
    {"AudioReceiverP2P", kAudio, Receiver, Waiting, false, kNever, 1, 4000, false, 12, 2, false, 3},
    {"AudioReceiverP2PAsking", kAudio, Receiver, Asking, false, kNever, 1, 4000, true, 12, 2, false, 3},
    {"VideoSinkUDP", kVideo, Sink, Server, true, 4, kNever, 0, false, 0, 0, false, 0},
    {"VideoSenderUDP", kVideo, Sender, Server, true, 4, kNever, 30000, true, 0, 0, false, 3},
    {"VideoReceiverUDP", kVideo, Receiver, Server, false, kNever, 1, 30000, true, 12, 2, false, 3},
    {"VideoReceiverP2P", kVideo, Receiver, Waiting, false, kNever, 1, 4000, false, 12, 2, false, 3},
    {"VideoReceiverP2PAsking", kVideo, Receiver, Asking, false, kNever, 1, 4000, true, 12, 2, false, 3},
    {"WBSinkUDP", kWhiteboard, Sink, Server, true, 1, 1, 0, false, 0, 0, false, 0},
    {"WBClientUDP", kWhiteboard, Receiver, Server, true, 1, 1, 30000, true, 22, 0, true, 3},
    {"WBClientUDPPublishersOnly", kWhiteboard, Receiver, PublishersOnly, true, 1, 1, 4000, true, 22, 0, true, 3},
    {"WBClientP2P", kWhiteboard, Receiver, Waiting, true, 1, 1, 30000, true, 12, 0, true, 3},
    // and over TCP: that it is, whether what waits is reported
    {"FileSinkTCP", kFile, Sink, Server, false, 2, 2, 0, false, 11, 0, true, 1, true, true},
    {"FileSenderTCP", kFile, Sender, Server, false, 0, 2, 0, false, 12, 0, false, 1, true, true},
    {"FileReceiverTCP", kFile, Receiver, Server, false, 2, 2, 0, false, 12, 0, true, 1, true, true},
    {"FileReceiverP2PTCP", kFile, Receiver, Waiting, false, 2, 2, 0, false, 12, 0, true, 1, true, true},
    {"DesktopSinkTCP", kDesktop, Sink, Server, false, 2, 2, 0, false, 11, 0, true, 1, true, true},
    {"DesktopSenderTCP", kDesktop, Sender, Server, false, 0, 2, 0, false, 11, 0, false, 1, true, true},
    {"DesktopReceiverTCP", kDesktop, Receiver, Server, false, 2, 2, 0, false, 12, 0, true, 1, true, false},
    {"DesktopReceiverP2PTCP", kDesktop, Receiver, Waiting, false, 2, 2, 0, false, 12, 0, true, 1, true, false},
    {"AudioSenderTCP", kAudio, Sender, Server, false, 0, kNever, 0, false, 11, 0, true, 1, true, true},
    {"AudioReceiverTCP", kAudio, Receiver, Server, false, kNever, 2, 0, false, 12, 1, false, 1, true, false},
    {"VideoSenderTCP", kVideo, Sender, Server, false, 4, kNever, 0, false, 11, 0, true, 1, true, true},
    {"VideoReceiverTCP", kVideo, Receiver, Server, false, kNever, 2, 0, false, 12, 1, false, 1, true, false},
    {"WBSinkTCP", kWhiteboard, Sink, Server, false, 2, 2, 0, false, 11, 0, true, 1, true, true},
    {"WBClientTCP", kWhiteboard, Receiver, Server, false, 2, 2, 0, false, 12, 0, true, 1, true, false},
    {"WBClientP2PTCP", kWhiteboard, Receiver, Waiting, false, 2, 2, 0, false, 12, 0, true, 1, true, false},
};

class EndpointScenarios : public testing::TestWithParam<EndpointRow> {
protected:
    const EndpointRow& Row() const { return GetParam(); }
    /// Polls until something but the expected count of keep-alives happens; gives the poll on which one left, or 0.
    int PollsUntilKeepAlive() {
        for (int poll = 1; poll <= 40; ++poll) {
            EXPECT_EQ(endpoint->IsDisconnected(), Row().connectTimeout == kNeverThere);
            if (endpoint->TakeKeepAlives() > 0) return poll;
        }
        return 0;
    }
    /// All that a datagram can change, but signs of life where a packet cut short is one, too.
    std::string State(bool withSigns) {
        CMediumApp& app = endpoint->App();
        size_t told = app.connected.size() + app.delivered.size();
        LumoLinkStatistics link;
        for (unsigned long i = 0; withSigns && GetLinkStatistics(i, link); ++i) told += link.ullSignsOfLife;
        std::string state = std::to_string(app.SinkCount()) + " " + std::to_string(told);
        for (const std::string& sent : host.TakeSentHex()) state += " " + sent;
        return state;
    }

    CTestHost host;
    std::unique_ptr<CEndpoint> endpoint = MakeEndpoint(host, GetParam());
};

class TimedEndpoints : public EndpointScenarios {};  // those over UDP that know whether the far side is there
class SessionEndpoints : public EndpointScenarios {};
class TcpEndpoints : public EndpointScenarios {};
class QuietEndpoints : public EndpointScenarios {};   // of media that log nothing of their own
class AskingEndpoints : public EndpointScenarios {};  // those that are taken by a datagram

TEST_P(EndpointScenarios, FramesPassWholeAndShortOnesDoNot) {
    endpoint->Accept();
    endpoint->TakeLeft();
    std::vector<std::string> out, in, expectedOut, expectedIn;
    for (const std::string& frame :
         {std::string(), std::string("1"), std::string("22"), std::string("333"), std::string(1040, 'x')}) {
        endpoint->App().Write(frame);
        for (std::string& left : endpoint->TakeLeft()) out.push_back(left);
        if (!frame.empty()) endpoint->Arrive(frame);
        const auto length = static_cast<int>(frame.size());
        if (length >= Row().minWrite) expectedOut.push_back(frame);
        if (length >= Row().minArrive) expectedIn.push_back(frame);
    }
    EXPECT_EQ(out, expectedOut);
    EXPECT_EQ(endpoint->App().delivered, expectedIn);
}

TEST_P(SessionEndpoints, OneFrameAtATimeInOrder) {
    endpoint->Accept();
    endpoint->TakeLeft();
    std::vector<std::string> expected;
    for (char c = 'a'; c <= 'e'; ++c) endpoint->App().Write(expected.emplace_back(10, c));
    EXPECT_EQ(endpoint->App().Buffering(), 4U) << "one is in the session, four wait";
    EXPECT_EQ(endpoint->TakeLeft(), expected);
    EXPECT_EQ(endpoint->App().Buffering(), 0U);
}

TEST_P(AskingEndpoints, AskAgainUntilTheirExactTimeoutAndHearOfAcceptanceOnce) {
    const bool neverThere = Row().connectTimeout == kNeverThere;
    host.TakeSent();
    host.clock.Advance(neverThere ? 1000 : Row().connectTimeout);
    EXPECT_EQ(endpoint->IsDisconnected(), neverThere);
    EXPECT_EQ(host.TakeSent().size(), Row().resendsConnect ? 1U : 0U);
    host.clock.Advance(1);
    EXPECT_TRUE(endpoint->IsDisconnected());
    endpoint->Accept();
    endpoint->Accept();
    EXPECT_EQ(endpoint->App().connected.size(), 1U);
}

TEST_P(TimedEndpoints, ConnectedTimeoutIsExactAndAClockThatGoesBackRestartsIt) {
    endpoint->Accept();
    host.clock.Advance(kConnectedTimeout);
    EXPECT_FALSE(endpoint->IsDisconnected());
    endpoint->Arrive("life");
    host.clock.Advance(kConnectedTimeout);
    EXPECT_FALSE(endpoint->IsDisconnected()) << "a frame is a sign of life";
    host.clock.Set(host.clock.Now() - kConnectedTimeout - 5000);
    EXPECT_FALSE(endpoint->IsDisconnected());
    host.clock.Advance(kConnectedTimeout);
    EXPECT_FALSE(endpoint->IsDisconnected());
    host.clock.Advance(1);
    EXPECT_TRUE(endpoint->IsDisconnected());
}

TEST_P(EndpointScenarios, KeepAlivesComeOnTheirPollAndDataRestartsThemWhereItShould) {
    endpoint->Accept();
    EXPECT_EQ(endpoint->TakeKeepAlives(), Row().keepAlivesAtAccept);
    EXPECT_EQ(PollsUntilKeepAlive(), Row().keepAliveEvery);
    EXPECT_EQ(PollsUntilKeepAlive(), Row().keepAliveEvery) << "and again";
    for (int poll = 1; poll < Row().keepAliveEvery; ++poll) endpoint->IsDisconnected();
    endpoint->App().Write("data");
    endpoint->TakeLeft();
    EXPECT_EQ(PollsUntilKeepAlive(),
              Row().dataRestartsKeepAlive ? Row().keepAliveEvery : std::min(Row().keepAliveEvery, 1));
}

TEST_P(TcpEndpoints, AWaitingQueueHoldsTheKeepAliveBackAndALossIsReported) {
    endpoint->Accept();
    endpoint->TakeLeft();
    endpoint->tcp->queued = 1;
    EXPECT_EQ(endpoint->App().Buffering(), Row().reportsQueue ? 1U : 0U);
    EXPECT_EQ(PollsUntilKeepAlive(), 0);
    endpoint->tcp->lost = true;
    EXPECT_TRUE(endpoint->IsDisconnected());
}

std::unique_ptr<CEndpoint> MakeCalled(const std::string& name, CTestHost& host) {
    const auto* row =
        std::find_if(std::begin(kEndpoints), std::end(kEndpoints), [&](auto& one) { return one.name == name; });
    return MakeEndpoint(host, *row);
}

// Neither in its own callback nor in another medium's, with one log line each time; afterwards it lives and can be.
TEST_P(EndpointScenarios, IsNotReleasedInsideACallbackAndSaysGoodbyeOnlyWhenConnected) {
    if (Row().connectTimeout != 0) {
        auto never = MakeEndpoint(host, Row());
        never->Release();
        EXPECT_EQ(never->TakeGoodbyes(), 0);
    }
    const auto other =
        MakeCalled(Row().medium.row.kind == wire::Kind::File ? "AudioReceiverUDP" : "FileReceiverUDP", host);
    CLogCapture log;
    size_t tries = 0;
    CMediumApp::whenConnected = [&] { tries += endpoint->TryRelease() ? 1 : 0; };
    endpoint->Accept();
    other->Accept();
    CMediumApp::whenConnected = nullptr;
    AppLog().Flush();
    size_t refused = 0;
    for (const std::string& line : log.Lines())
        refused += line.find("is not released inside a callback") != std::string::npos;
    EXPECT_EQ(tries, Row().role == Sink ? 0U : 2U);
    EXPECT_EQ(refused, tries);
    endpoint->TakeGoodbyes();
    endpoint->Release();
    EXPECT_EQ(endpoint->TakeGoodbyes(), Row().goodbyes);
}

TEST_P(EndpointScenarios, OnlyDatagramsOfTheRightLengthDoAnything) {
    for (const std::string& datagram : endpoint->inbound) {
        SCOPED_TRACE(ToHex(datagram));
        const auto* body = reinterpret_cast<const uint8_t*>(datagram.data()) + 1;
        const wire::CommandRow* command =
            wire::FindCommand(static_cast<wire::Kind>(datagram[0]), body, static_cast<int>(datagram.size()) - 1);
        ASSERT_TRUE(command);
        // A packet has no length of its own: what is cut behind its twelve bytes is a shorter one.
        const bool packet = command->tail == wire::Tail::SessionPacket;
        const auto least = static_cast<size_t>(1 + command->FixedLength() + (packet ? 12 : command->minTail));
        const std::string longest = datagram + std::string(20, 'x');
        const std::string before = State(!packet);
        for (size_t length = 1; length <= longest.size(); ++length) {
            if (command->tail == wire::Tail::None ? length == least : length >= least) continue;
            host.Deliver(longest.substr(0, length));
            ASSERT_EQ(State(!packet), before) << length << " bytes";
        }
        host.Deliver(datagram);
        EXPECT_NE(State(!packet), before) << "its own length";
    }
}

// What files log, and the manager of peers, is compared word for word in tests/unit/mcu.
TEST_P(QuietEndpoints, LogWhatComesAndGoesAndNothingElse) {
    static const char* const kNames[] = {"UDP_AUDIO", "UDP_VIDEO", "", "", "UDP_WB", "UDP_DESKTOP"};
    const auto kind = static_cast<size_t>(Row().medium.row.kind);
    const std::string unknown{static_cast<char>(kind), '\xff'};
    endpoint->inbound.insert(endpoint->inbound.end(), {unknown, unknown.substr(0, 1), unknown + std::string(4, 'x')});
    CLogCapture log;
    for (const std::string& datagram : endpoint->inbound) {
        host.TakeSent();
        log.Clear();
        host.Deliver(datagram);
        std::vector<std::string> expected = {
            "CLocalMCUManager::OnUdpClientNotifyReceivedFrame. CMD : " + std::to_string(kind) +
                ", Len : " + std::to_string(datagram.size()) + ", IP : 10.0.0.2, Port : 7001",
            kNames[kind]};
        for (const CSentDatagram& one : host.TakeSent())
            expected.push_back("SendUdpData(nLen = " + std::to_string(one.bytes.size()) +
                               ", IP : " + GetIpAddr(one.ip) + ", Port : " + std::to_string(one.port) + ")");
        EXPECT_EQ(log.Lines(), expected);
    }
    log.Clear();
    if (Row().role != Sink && Row().way == Server) MakeEndpoint(host, Row());
    if (Row().tcp) endpoint->Accept();
    if (Row().tcp) endpoint->Arrive("frame");
    endpoint->App().Write("frame");
    endpoint->IsDisconnected();
    endpoint->Release();
    for (const std::string& line : log.Lines()) EXPECT_TRUE(line.starts_with("SendUdpData(")) << line;
}

TEST_P(SessionEndpoints, AnEndpointTooFarBehindCountsAsGone) {
    endpoint->Accept();
    std::string frame(4 * 1024 * 1024, 'x');
    frame[0] = '\0';  // in video one that others may not give way to
    endpoint->App().Write(frame.substr(0, 100));
    endpoint->TakeLeft();  // it is validated
    for (int i = 0; i < 64; ++i) endpoint->App().Write(frame);
    EXPECT_FALSE(endpoint->IsDisconnected());
    endpoint->App().Write(frame);
    endpoint->App().Write(frame);
    EXPECT_EQ(endpoint->IsDisconnected(), Row().medium.row.kind != wire::Kind::Video)
        << "there a key frame may come to its help";
    host.clock.Advance(10001);
    EXPECT_TRUE(endpoint->IsDisconnected());
}

std::vector<EndpointRow> Rows(bool (*wanted)(const EndpointRow&)) {
    std::vector<EndpointRow> rows;
    std::copy_if(std::begin(kEndpoints), std::end(kEndpoints), std::back_inserter(rows), wanted);
    return rows;
}
std::string RowName(const testing::TestParamInfo<EndpointRow>& info) { return info.param.name; }
bool Timed(const EndpointRow& row) { return !row.tcp && row.connectTimeout != kNeverThere; }
bool InSessions(const EndpointRow& row) { return row.session; }
bool OverTcp(const EndpointRow& row) { return row.tcp; }
bool Quiet(const EndpointRow& row) { return row.medium.row.kind != wire::Kind::File; }
bool Asks(const EndpointRow& row) { return row.connectTimeout != 0; }

INSTANTIATE_TEST_SUITE_P(All, EndpointScenarios, testing::ValuesIn(kEndpoints), RowName);
INSTANTIATE_TEST_SUITE_P(All, TimedEndpoints, testing::ValuesIn(Rows(Timed)), RowName);
INSTANTIATE_TEST_SUITE_P(All, SessionEndpoints, testing::ValuesIn(Rows(InSessions)), RowName);
INSTANTIATE_TEST_SUITE_P(All, TcpEndpoints, testing::ValuesIn(Rows(OverTcp)), RowName);
INSTANTIATE_TEST_SUITE_P(All, QuietEndpoints, testing::ValuesIn(Rows(Quiet)), RowName);
INSTANTIATE_TEST_SUITE_P(All, AskingEndpoints, testing::ValuesIn(Rows(Asks)), RowName);

}  // namespace
}  // namespace endpoints
