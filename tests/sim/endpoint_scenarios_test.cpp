// One list of scenarios for every role, transport and medium.
#include "core/wire/commands.h"
#include "lumomedia/statistics.h"
#include "platform/lumobase/app_log.h"
#include "sim/endpoint.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

namespace {

constexpr uint32_t kConnectedTimeout = 180000;

class EndpointScenarios : public testing::TestWithParam<EndpointRow> {
protected:
    EndpointScenarios() : endpoint(GetParam().make(host)) {}
    const EndpointRow& Row() const { return GetParam(); }
    /// Polls until something but the expected count of keep-alives happens; gives the poll on which one left, or 0.
    int PollsUntilKeepAlive(int limit) {
        for (int poll = 1; poll <= limit; ++poll) {
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
    std::unique_ptr<IEndpoint> endpoint;
};

class TimedEndpoints : public EndpointScenarios {};  // those over UDP that know whether the far side is there
class SessionEndpoints : public EndpointScenarios {};
class TcpEndpoints : public EndpointScenarios {};
class AskingEndpoints : public EndpointScenarios {};     // those that are taken by a datagram
class ImpatientEndpoints : public EndpointScenarios {};  // of these the ones that give up

TEST_P(EndpointScenarios, FramesPassWholeAndShortOnesDoNot) {
    endpoint->Accept();
    endpoint->TakeLeft();
    const std::vector<std::string> frames = {"", "1", "22", "333", std::string(1040, 'x')};
    std::vector<std::string> out, in;
    for (const std::string& frame : frames) {
        endpoint->App().Write(frame);
        for (std::string& left : endpoint->TakeLeft()) out.push_back(left);
        if (!frame.empty()) endpoint->Arrive(frame);
    }
    std::vector<std::string> expectedOut, expectedIn;
    for (const std::string& frame : frames) {
        const auto length = static_cast<int>(frame.size());
        if (length >= Row().minWrite) expectedOut.push_back(frame);
        if (length >= Row().minArrive && length > 0) expectedIn.push_back(frame);
    }
    if (!Row().udp && Row().minWrite <= 1) {  // no length check at all: even an empty frame goes to the transport
        ASSERT_EQ(out.size(), frames.size());
        out.erase(out.begin());
    }
    EXPECT_EQ(out, expectedOut);
    EXPECT_EQ(endpoint->App().delivered, expectedIn);
}

TEST_P(SessionEndpoints, OneFrameAtATimeInOrder) {
    endpoint->Accept();
    endpoint->TakeLeft();
    for (char c = 'a'; c <= 'e'; ++c) endpoint->App().Write(std::string(10, c));
    EXPECT_EQ(endpoint->Buffering(), 4U) << "one is in the session, four wait";
    std::vector<std::string> expected;
    for (char c = 'a'; c <= 'e'; ++c) expected.push_back(std::string(10, c));
    EXPECT_EQ(endpoint->TakeLeft(), expected);
    EXPECT_EQ(endpoint->Buffering(), 0U);
}

TEST_P(ImpatientEndpoints, ConnectTimeoutIsExact) {
    host.TakeSent();
    host.clock.Advance(Row().connectTimeout);
    EXPECT_FALSE(endpoint->IsDisconnected());
    EXPECT_EQ(host.TakeSent().size(), Row().resendsConnect ? 1U : 0U);
    host.clock.Advance(1);
    EXPECT_TRUE(endpoint->IsDisconnected());
}

TEST_P(TimedEndpoints, ConnectedTimeoutIsExactAndAClockThatGoesBackRestartsIt) {
    endpoint->Accept();
    host.clock.Advance(kConnectedTimeout);
    EXPECT_FALSE(endpoint->IsDisconnected());
    const uint32_t before = host.clock.Now();
    host.clock.Set(before - kConnectedTimeout - 5000);
    EXPECT_FALSE(endpoint->IsDisconnected());
    host.clock.Advance(kConnectedTimeout);
    EXPECT_FALSE(endpoint->IsDisconnected());
    host.clock.Advance(1);
    EXPECT_TRUE(endpoint->IsDisconnected());
}

TEST_P(TimedEndpoints, AFrameFromTheFarSideIsASignOfLife) {
    endpoint->Accept();
    host.clock.Advance(kConnectedTimeout);
    endpoint->Arrive("life");
    host.clock.Advance(kConnectedTimeout);
    EXPECT_FALSE(endpoint->IsDisconnected());
}

TEST_P(EndpointScenarios, KeepAlivesComeOnTheirPoll) {
    endpoint->Accept();
    EXPECT_EQ(endpoint->TakeKeepAlives(), Row().keepAlivesAtAccept);
    const int limit = 40;
    EXPECT_EQ(PollsUntilKeepAlive(limit), Row().keepAliveEvery);
    EXPECT_EQ(PollsUntilKeepAlive(limit), Row().keepAliveEvery) << "and again";
}

TEST_P(TcpEndpoints, DataRestartsTheKeepAliveCountWhereItShould) {
    endpoint->Accept();
    for (int poll = 1; poll < Row().keepAliveEvery; ++poll) endpoint->IsDisconnected();
    endpoint->App().Write("data");
    endpoint->TakeLeft();
    EXPECT_EQ(PollsUntilKeepAlive(40), Row().dataRestartsKeepAlive ? Row().keepAliveEvery : 1);
}

TEST_P(TcpEndpoints, AWaitingQueueHoldsTheKeepAliveBackAndALossIsReported) {
    endpoint->Accept();
    endpoint->TakeLeft();
    endpoint->SetQueued(1);
    EXPECT_EQ(endpoint->Buffering(), 1U);
    EXPECT_EQ(PollsUntilKeepAlive(40), 0);
    endpoint->Lose();
    EXPECT_TRUE(endpoint->IsDisconnected());
}

std::unique_ptr<IEndpoint> MakeCalled(const std::string& name, CTestHost& host) {
    for (const EndpointRow& row : Endpoints())
        if (row.name == name) return row.make(host);
    return nullptr;
}

// Neither in its own callback nor in another medium's, with one log line each time; afterwards it lives and can be.
TEST_P(EndpointScenarios, IsNotReleasedInsideACallbackAndSaysGoodbyeOnlyWhenConnected) {
    if (Row().connectTimeout != 0) {
        auto never = GetParam().make(host);
        never->Release();
        EXPECT_EQ(never->TakeGoodbyes(), 0);
    }
    const std::string name = Row().name;
    const auto other = MakeCalled(name.starts_with("File") ? "AudioReceiverUDP" : "FileReceiverUDP", host);
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
    EXPECT_EQ(tries, name.find("Sink") != std::string::npos ? 0U : 2U);
    EXPECT_EQ(refused, tries);
    endpoint->TakeGoodbyes();
    endpoint->Release();
    EXPECT_EQ(endpoint->TakeGoodbyes(), Row().goodbyes);
}

TEST_P(AskingEndpoints, ARepeatedAcceptanceNotifiesOnce) {
    endpoint->Accept();
    endpoint->Accept();
    EXPECT_EQ(endpoint->App().connected.size(), 1U);
}

TEST_P(EndpointScenarios, OnlyDatagramsOfTheRightLengthDoAnything) {
    for (const std::string& datagram : endpoint->InboundDatagrams()) {
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
    EXPECT_EQ(endpoint->IsDisconnected(), !std::string(Row().name).starts_with("Video"))
        << "there a key frame may come to its help";
    host.clock.Advance(10001);
    EXPECT_TRUE(endpoint->IsDisconnected());
}

std::vector<EndpointRow> Rows(bool (*wanted)(const EndpointRow&)) {
    std::vector<EndpointRow> rows;
    for (EndpointRow& row : Endpoints())
        if (wanted(row)) rows.push_back(std::move(row));
    return rows;
}
std::string RowName(const testing::TestParamInfo<EndpointRow>& info) { return info.param.name; }
bool Any(const EndpointRow&) { return true; }
bool Timed(const EndpointRow& row) { return row.udp && row.connectTimeout != kNeverThere; }
bool InSessions(const EndpointRow& row) { return row.session; }
bool OverTcp(const EndpointRow& row) { return !row.udp; }
bool Asking(const EndpointRow& row) { return row.connectTimeout != 0; }
bool Impatient(const EndpointRow& row) { return Timed(row) && Asking(row); }

INSTANTIATE_TEST_SUITE_P(All, EndpointScenarios, testing::ValuesIn(Rows(Any)), RowName);
INSTANTIATE_TEST_SUITE_P(All, TimedEndpoints, testing::ValuesIn(Rows(Timed)), RowName);
INSTANTIATE_TEST_SUITE_P(All, SessionEndpoints, testing::ValuesIn(Rows(InSessions)), RowName);
INSTANTIATE_TEST_SUITE_P(All, TcpEndpoints, testing::ValuesIn(Rows(OverTcp)), RowName);
INSTANTIATE_TEST_SUITE_P(All, AskingEndpoints, testing::ValuesIn(Rows(Asking)), RowName);
INSTANTIATE_TEST_SUITE_P(All, ImpatientEndpoints, testing::ValuesIn(Rows(Impatient)), RowName);

}  // namespace
