#include "platform/lumonet/tcp_limits.h"
#include "sim/random.h"
#include "support/session_wire.h"
#include "tcp_support.h"

using namespace tcp_test;

namespace {

using Events = std::vector<std::string>;

class CFilter final : public ITcpAcceptFilter {
public:
    bool MayAccept(unsigned long ip, unsigned unvalidated) override {
        EXPECT_EQ(ip, kLoopback);
        m_events.Add(std::to_string(unvalidated));
        return unvalidated < 3;
    }
    CEvents m_events;
};

}  // namespace

TEST(TcpConnection, CarriesWholeFramesInOrderBehindTheValidationMessage) {
    CServer server;
    CClient client;
    client.m_bSilent = true;
    ASSERT_TRUE(client.Dial(server.m_usPort));
    client.Send("first");
    ASSERT_TRUE(client.m_events.WaitFor("connected"));
    client.Send("second");
    EXPECT_EQ(client.Net()->GetSendQueueSize(), 2u) << "they wait";
    client.Send("not laid out as one", 1);
    client.Send(Validation(7, "hello"), 1);
    client.Send(Validation(7, "a later one"), 1);
    CSession* session = server.Session(0);
    ASSERT_TRUE(session);
    EXPECT_EQ(server.m_events.All(), Events{"validate 7 hello"});
    EXPECT_EQ(client.Net()->GetRemoteIP(), kLoopback);
    EXPECT_EQ(session->Net()->GetRemoteIP(), kLoopback);
    EXPECT_NE(session->Net()->GetRemotePort(), 0);
    Events forClient{"connected", "answer 8 welcome"}, forSession{"frame first", "frame second"};
    sim::CRandom random(1);
    for (const size_t length : {1u, 64u, 65536u, 2u, 3'000'000u, 1000u, 131072u, 5u}) {
        for (int i = 0; i < 5; ++i) {
            const std::string frame = random.Bytes(length);
            for (Events* expected : {&forClient, &forSession}) expected->push_back(FrameEvent(frame));
            client.Send(frame);
            session->Send(frame);
        }
    }
    EXPECT_EQ(session->m_events.Await(forSession.size()), forSession);
    EXPECT_EQ(client.m_events.Await(forClient.size()), forClient);
    EXPECT_EQ(client.Net()->GetSendQueueSize(), 0u);
    EXPECT_FALSE(client.Net()->IsDisconnected());
    EXPECT_FALSE(server.Net()->AcceptSession(session->Net())) << "only inside the callback";
}

TEST(TcpConnection, TheListenerClosesWhatDoesNotSpeakProperly) {
    using session_wire::U32;
    const struct {
        const char* what;
        std::string bytes;
        size_t frames = 0;
        bool validates = false;
    } rows[] = {
        {"another protocol", "GET / HTTP/1.1\r\n\r\n"},
        {"a frame first", Framed(0, "frame")},
        {"an inner length too long", Framed(1, U32(7) + U32(6) + "hello")},
        {"an inner length too short", Framed(1, U32(7) + U32(4) + "hello")},
        {"an inner length that wraps", Framed(1, U32(7) + U32(0xffffffff))},
        {"a body too short for a validation message", Framed(1, "short")},
        {"an empty one", Framed(1, "")},
        {"a validation message of 4,097 bytes", Framed(1, Validation(7, std::string(4089, 'x')))},
        {"one of 4,096, and garbage", Framed(1, Validation(7, std::string(4088, 'x'))) + std::string(5, '\xff'), 0,
         true},
        {"an unknown kind first", Framed(2, Validation(7, "hello"))},
        {"an unknown kind later", kHello + Framed(7, "x"), 0, true},
        {"a body over the limit later", kHello + U32(net::kMaxBody + 1) + '\0', 0, true},
        {"a frame longer than the session's owner takes", kHello + Framed(0, std::string(1000, 'x')) + U32(1001) + '\0',
         1, true},
    };
    CServer server;
    size_t validated = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        if (row.frames > 0)
            server.m_onValidate = [](CServer& self, ITcpSession* session) {
                session->SetMaxReceivedFrame(1000);
                return self.Keep(session);
            };
        EXPECT_TRUE(CRawPeer::Dial(server.m_usPort, row.bytes).IsClosed());
        validated += row.validates ? 1 : 0;
        EXPECT_EQ(server.m_events.All().size(), validated);
        EXPECT_TRUE(!row.validates || server.Session(validated - 1)->m_events.All().size() == row.frames);
    }
    // A later validation message and an empty frame are passed over.
    const CRawPeer peer =
        CRawPeer::Dial(server.m_usPort, kHello + kHello + Framed(0, "") + Framed(1, "garbage") + Framed(0, "end"));
    CSession* session = server.Session(validated);
    ASSERT_TRUE(session);
    EXPECT_EQ(session->m_events.Await(1), Events{"frame end"});
    EXPECT_EQ(server.m_events.All().size(), validated + 1);
}

TEST(TcpConnection, TheVerdictsOfTheListenersOwner) {
    const struct {
        const char* what;
        std::function<bool(CServer&, ITcpSession*)> onValidate;
        std::string answer;
    } rows[] = {
        {"no", [](CServer&, ITcpSession*) { return false; }, ""},
        {"yes, without having accepted", [](CServer&, ITcpSession*) { return true; }, ""},
        {"no, after having accepted",
         [](CServer& server, ITcpSession* session) { return server.Net()->AcceptSession(session), false; }, ""},
        {"accepted and released at once",
         [](CServer& server, ITcpSession* session) {
             server.Net()->AcceptSession(session);
             session->ReleaseConnections();
             return true;
         },
         ""},
        {"an exception", [](CServer&, ITcpSession*) -> bool { throw 1; }, ""},
        {"no, in words",
         [](CServer&, ITcpSession* session) {
             const std::string words = Validation(9, "no");
             session->SendData(words.data(), static_cast<int>(words.size()), 1);
             return false;
         },
         Framed(1, Validation(9, "no"))},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CServer server;
        server.m_onValidate = row.onValidate;
        bool closed = false;
        EXPECT_EQ(CRawPeer::Dial(server.m_usPort, kHello + Framed(0, "frame")).ReadAll(&closed), row.answer);
        EXPECT_TRUE(closed);
    }
}

TEST(TcpConnection, TheClientIsToldOnceThatItsConnectionIsGone) {
    const struct {
        const char* what;
        std::string bytes;
        Events events;
        bool takesAnswer = true, takesFrames = true;
    } rows[] = {
        {"closed before the answer", "", {}},
        {"garbage for an answer", "SSH-2.0-x\r\n", {}},
        {"a frame before the answer", Framed(0, "early") + kWelcome, {}},
        {"a refused answer", kWelcome + Framed(0, "later"), {"answer 8 welcome"}, false},
        {"a refused frame",
         kWelcome + Framed(0, "one") + Framed(0, "two"),
         {"answer 8 welcome", "frame one"},
         true,
         false},
        {"a frame cut short", kWelcome + Framed(0, "one").substr(0, 7), {"answer 8 welcome"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CRawListener listener;
        CClient client;
        client.m_bTakesAnswer = row.takesAnswer;
        client.m_bTakesFrames = row.takesFrames;
        ASSERT_TRUE(client.Dial(listener.Port()));
        CRawPeer peer = listener.Accept();
        EXPECT_EQ(peer.Read(kHello.size()), kHello);
        peer.Send(row.bytes);
        if (row.takesAnswer && row.takesFrames) peer = CRawPeer();
        EXPECT_TRUE(client.m_events.WaitFor("disconnected"));
        EXPECT_TRUE(client.Net()->IsDisconnected());
        EXPECT_EQ(client.Net()->GetReceivedBytes(), row.bytes.size()) << "as they come";
        client.Send("into the void");
        EXPECT_EQ(client.Net()->GetSendQueueBytes(), 0u);
        client.Release();
        Events expected = row.events;
        expected.insert(expected.begin(), "connected");
        expected.push_back("disconnected");
        EXPECT_EQ(client.m_events.All(), expected);
    }
}

TEST(TcpConnection, EveryStepHasItsTimeLimit) {
    {
        SCOPED_TRACE("a dial that nobody answers");
        CShortLimit limit(net::g_timeouts.dial, 100);
        CRawListener listener(0);
        const CRawPeer fills = CRawPeer::Dial(listener.Port());  // its queue
        CClient client;
        ASSERT_TRUE(client.Dial(listener.Port()));
        EXPECT_EQ(client.m_events.Await(1), Events{"disconnected"});
        EXPECT_TRUE(client.Net()->IsDisconnected());
    }
    {
        SCOPED_TRACE("a far side that does not answer the validation message");
        CShortLimit limit(net::g_timeouts.answer, 100);
        CRawListener listener;
        CClient client;
        ASSERT_TRUE(client.Dial(listener.Port()));
        const CRawPeer peer = listener.Accept();
        EXPECT_TRUE(client.m_events.WaitFor("disconnected"));
        EXPECT_TRUE(peer.IsClosed());
    }
    SCOPED_TRACE("connections that do not validate");
    CServer server;
    const CRawPeer silent = CRawPeer::Dial(server.m_usPort);
    const CRawPeer slow = CRawPeer::Dial(server.m_usPort, kHello.substr(0, 16));
    CClient client;
    ASSERT_TRUE(client.Meet(server.m_usPort));
    server.Net()->CheckTimeout();  // too early: nothing happens to the slow one
    slow.Send(kHello.substr(16));
    EXPECT_TRUE(server.m_events.WaitForCount(2));
    CShortLimit limit(net::g_timeouts.validate, 0);
    server.Net()->CheckTimeout();
    EXPECT_TRUE(silent.IsClosed());
    client.Send("still here");
    EXPECT_TRUE(server.Session(0)->m_events.WaitFor("frame still here")) << "who has validated stays";
}

TEST(TcpConnection, DialsNothingButAnAddressAndAPort) {
    CClient notify;
    const auto dials = [](ITcpClientNotify* to, const char* server, uint16_t port, int type, const char* host,
                          uint16_t proxyPort) {
        ITcpClient* client = CreateTcpClient(to, server, port, type, host, proxyPort, "", "");
        if (client) client->ReleaseConnections();
        return client != nullptr;
    };
    EXPECT_TRUE(dials(&notify, "127.0.0.1", 1, 0, "", 0));
    EXPECT_FALSE(dials(&notify, "0.0.0.0", 1, 1, "127.0.0.1", 1)) << "through a proxy";
    EXPECT_FALSE(dials(nullptr, "127.0.0.1", 1, 0, "", 0));
    for (const char* server : {"localhost", "0.0.0.0"}) EXPECT_FALSE(dials(&notify, server, 1, 0, "", 0)) << server;
    EXPECT_FALSE(dials(&notify, "127.0.0.1", 0, 0, "", 0));
    for (const int type : {4, -1}) EXPECT_FALSE(dials(&notify, "127.0.0.1", 1, type, "127.0.0.1", 1)) << type;
    EXPECT_FALSE(dials(&notify, "127.0.0.1", 1, 1, "127.0.0.1", 0));
    for (const char* host : {"", "socks5://127.0.0.1", "user@127.0.0.1", "127.0.0.1:80", "a b", "a/b", "a\r\nb"})
        EXPECT_FALSE(dials(&notify, "127.0.0.1", 1, 1, host, 1)) << host;
}

TEST(TcpConnection, AtItsShareAnAddressGivesUpItsOldestThatHasNotValidated) {
    CFilter filter;
    CServer server(&filter);
    std::vector<CRawPeer> peers;
    for (size_t i = 0; i < 3; ++i) {
        peers.push_back(CRawPeer::Dial(server.m_usPort));
        ASSERT_TRUE(filter.m_events.WaitForCount(i + 1));
    }
    CRawPeer newcomer = CRawPeer::Dial(server.m_usPort);
    EXPECT_TRUE(peers[0].IsClosed());
    for (const CRawPeer* one : {&peers[1], &newcomer}) {
        one->Send(kHello);
        ASSERT_TRUE(server.Session(one == &newcomer ? 1 : 0));
    }
    EXPECT_EQ(filter.m_events.All(), (Events{"0", "1", "2", "3", "2"}));
}
