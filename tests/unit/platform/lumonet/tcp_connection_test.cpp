#include "platform/lumonet/tcp_limits.h"
#include "sim/random.h"
#include "tcp_support.h"

#include <gtest/gtest.h>

using namespace tcp_test;

namespace {

class CFilter final : public ITcpAcceptFilter {
public:
    bool MayAccept(unsigned long ip, unsigned unvalidated) override {
        EXPECT_EQ(ip, kLoopback);
        m_events.Add(std::to_string(unvalidated));
        return unvalidated < 3;
    }
    CEvents m_events;
};

// A client and the session that the server has made of it.
struct Pair {
    CServer server;
    CClient client;
    CSession* session = nullptr;

    Pair() {
        EXPECT_TRUE(client.Meet(server.m_usPort));
        session = server.Session(0);
    }
};

}  // namespace

TEST(TcpConnection, CarriesWholeFramesBothWaysInOrder) {
    Pair pair;
    EXPECT_EQ(pair.server.m_events.All(), std::vector<std::string>{"validate 7 hello"});
    EXPECT_EQ(pair.client.Net()->GetRemoteIP(), kLoopback);
    EXPECT_EQ(pair.session->m_pNet->GetRemoteIP(), kLoopback);
    EXPECT_NE(pair.session->m_pNet->GetRemotePort(), 0);
    std::vector<std::string> expected;
    sim::CRandom random(1);
    for (const size_t length : {1u, 64u, 65536u, 2u, 3'000'000u, 1000u, 131072u, 5u}) {
        for (int i = 0; i < 5; ++i) {
            const std::string frame = random.Bytes(length);
            expected.push_back(FrameEvent(frame.data(), frame.size()));
            pair.client.Send(frame);
            pair.session->Send(frame);
        }
    }
    EXPECT_EQ(pair.session->m_events.Await(expected.size()), expected);
    EXPECT_TRUE(pair.client.m_events.WaitForCount(expected.size() + 2));
    expected.insert(expected.begin(), {"connected", "answer 8 welcome"});
    EXPECT_EQ(pair.client.m_events.All(), expected);
    EXPECT_EQ(pair.client.Net()->GetSendQueueSize(), 0u);
    EXPECT_FALSE(pair.client.Net()->IsDisconnected());
}

TEST(TcpConnection, TheValidationMessageLeavesBeforeFramesSentEarlier) {
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
    client.Send("third");
    CSession* session = server.Session(0);
    ASSERT_TRUE(session);
    EXPECT_EQ(session->m_events.Await(3), (std::vector<std::string>{"frame first", "frame second", "frame third"}));
    EXPECT_EQ(server.m_events.All(), std::vector<std::string>{"validate 7 hello"});
}

TEST(TcpConnection, TheListenerClosesWhatDoesNotSpeakProperly) {
    const struct {
        const char* what;
        std::string bytes;
        bool validates;
    } rows[] = {
        {"another protocol", "GET / HTTP/1.1\r\n\r\n", false},
        {"a frame first", Framed(0, "frame"), false},
        {"an inner length too long", Framed(1, std::string("\0\0\0\7\0\0\0\6hello", 13)), false},
        {"an inner length too short", Framed(1, std::string("\0\0\0\7\0\0\0\4hello", 13)), false},
        {"an inner length that wraps", Framed(1, std::string("\0\0\0\7\xff\xff\xff\xff", 8)), false},
        {"a body too short for a validation message", Framed(1, "short"), false},
        {"an empty one", Framed(1, ""), false},
        {"a validation message of 5,000 bytes", Framed(1, Validation(7, std::string(5000, 'x'))), false},
        {"an unknown kind first", Framed(2, Validation(7, "hello")), false},
        {"an unknown kind later", kHello + Framed(7, "x"), true},
        {"a body over the limit later", kHello + std::string("\4\0\0\1\0", 5), true},
    };
    CServer server;
    size_t validated = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CRawPeer peer = CRawPeer::Dial(server.m_usPort, row.bytes);
        EXPECT_TRUE(peer.IsClosed());
        validated += row.validates ? 1 : 0;
        EXPECT_EQ(server.m_events.All().size(), validated);
    }
    // A later validation message and an empty frame are passed over.
    CRawPeer peer =
        CRawPeer::Dial(server.m_usPort, kHello + kHello + Framed(0, "") + Framed(1, "garbage") + Framed(0, "end"));
    CSession* session = server.Session(validated);
    ASSERT_TRUE(session);
    EXPECT_EQ(session->m_events.Await(1), std::vector<std::string>{"frame end"});
    EXPECT_EQ(server.m_events.Count("validate 7 hello"), validated + 1);
}

TEST(TcpConnection, TheOwnerOfASessionMayBoundItsFrames) {
    CServer server;
    server.m_onValidate = [](CServer& self, ITcpSession* session) {
        session->SetMaxReceivedFrame(1000);
        return self.Keep(session);
    };
    CRawPeer peer = CRawPeer::Dial(server.m_usPort, kHello + Framed(0, std::string(1000, 'x')));
    CSession* session = server.Session(0);
    ASSERT_TRUE(session && session->m_events.WaitForCount(1));
    peer.Send(Framed(0, std::string(1001, 'x')).substr(0, 5));  // announcing it is enough
    EXPECT_TRUE(peer.IsClosed());
    CRawPeer atOnce = CRawPeer::Dial(server.m_usPort, kHello + Framed(0, std::string(1001, 'x')));
    EXPECT_TRUE(atOnce.IsClosed());
    ASSERT_TRUE(server.Session(1));
    EXPECT_TRUE(server.Session(1)->m_events.All().empty());
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
         [](CServer& server, ITcpSession* session) { return server.m_pNet->AcceptSession(session), false; }, ""},
        {"accepted and released at once",
         [](CServer& server, ITcpSession* session) {
             server.m_pNet->AcceptSession(session);
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
        CRawPeer peer = CRawPeer::Dial(server.m_usPort, Framed(1, Validation(7, "")) + Framed(0, "frame"));
        bool closed = false;
        EXPECT_EQ(peer.ReadAll(&closed), row.answer);
        EXPECT_TRUE(closed);
    }
    Pair pair;
    EXPECT_FALSE(pair.server.m_pNet->AcceptSession(pair.session->m_pNet)) << "only inside the callback";
}

TEST(TcpConnection, TheClientIsToldOnceThatItsConnectionIsGone) {
    const struct {
        const char* what;
        std::string bytes;
        bool takesAnswer, takesFrames;
        std::vector<std::string> events;
        bool cut = false;
    } rows[] = {
        {"closed before the answer", "", true, true, {}},
        {"garbage for an answer", "SSH-2.0-x\r\n", true, true, {}},
        {"a frame before the answer", Framed(0, "early") + kWelcome, true, true, {}},
        {"a refused answer", kWelcome + Framed(0, "later"), false, true, {"answer 8 welcome"}},
        {"a refused frame",
         kWelcome + Framed(0, "one") + Framed(0, "two"),
         true,
         false,
         {"answer 8 welcome", "frame one"}},
        {"a frame cut short", kWelcome + Framed(0, "one").substr(0, 7), true, true, {"answer 8 welcome"}, true},
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
        if (row.takesAnswer && row.takesFrames) peer = CRawPeer(-1);
        EXPECT_TRUE(client.m_events.WaitFor("disconnected"));
        EXPECT_TRUE(client.Net()->IsDisconnected());
        if (row.cut) {
            EXPECT_EQ(client.Net()->GetReceivedBytes(), row.bytes.size()) << "as they come";
        }
        client.Send("into the void");
        EXPECT_EQ(client.Net()->GetSendQueueBytes(), 0u);
        client.Release();
        std::vector<std::string> expected{"connected"};
        expected.insert(expected.end(), row.events.begin(), row.events.end());
        expected.push_back("disconnected");
        EXPECT_EQ(client.m_events.All(), expected);
    }
}

TEST(TcpConnection, EveryStepHasItsTimeLimit) {
    {
        SCOPED_TRACE("a dial that nobody answers");
        CShortLimit limit(net::g_timeouts.dial, 100);
        CRawListener listener(0);
        CRawPeer fills = CRawPeer::Dial(listener.Port());  // its queue
        CClient client;
        ASSERT_TRUE(client.Dial(listener.Port()));
        EXPECT_TRUE(client.m_events.WaitFor("disconnected"));
        EXPECT_TRUE(client.Net()->IsDisconnected());
        EXPECT_EQ(client.m_events.All().size(), 1u);
    }
    {
        SCOPED_TRACE("a far side that does not answer the validation message");
        CShortLimit limit(net::g_timeouts.answer, 100);
        CRawListener listener;
        CClient client;
        ASSERT_TRUE(client.Dial(listener.Port()));
        CRawPeer peer = listener.Accept();
        EXPECT_TRUE(client.m_events.WaitFor("disconnected"));
        EXPECT_TRUE(peer.IsClosed());
    }
    {
        SCOPED_TRACE("connections that do not validate");
        CServer server;
        CRawPeer silent = CRawPeer::Dial(server.m_usPort);
        CRawPeer slow = CRawPeer::Dial(server.m_usPort, kHello.substr(0, 16));
        CClient client;
        ASSERT_TRUE(client.Meet(server.m_usPort));
        server.m_pNet->CheckTimeout();  // too early: nothing happens to the slow one
        slow.Send(kHello.substr(16));
        EXPECT_TRUE(server.m_events.WaitForCount(2));
        CShortLimit limit(net::g_timeouts.validate, 0);
        server.m_pNet->CheckTimeout();
        EXPECT_TRUE(silent.IsClosed());
        client.Send("still here");
        EXPECT_TRUE(server.Session(0)->m_events.WaitFor("frame still here")) << "who has validated stays";
    }
}

TEST(TcpConnection, DialsNothingButAnAddressAndAPort) {
    CClient notify;
    const auto dial = [&](ITcpClientNotify* to, const char* server, uint16_t port, int type, const char* host,
                          uint16_t proxyPort) {
        ITcpClient* client = CreateTcpClient(to, server, port, type, host, proxyPort, "", "");
        if (client) client->ReleaseConnections();
        return client != nullptr;
    };
    EXPECT_TRUE(dial(&notify, "127.0.0.1", 1, 0, "", 0));
    EXPECT_FALSE(dial(&notify, "0.0.0.0", 1, 1, "127.0.0.1", 1)) << "through a proxy";
    EXPECT_FALSE(dial(nullptr, "127.0.0.1", 1, 0, "", 0));
    for (const char* server : {"localhost", "", "1.2.3.4 ", "::1", "0.0.0.0"})
        EXPECT_FALSE(dial(&notify, server, 1, 0, "", 0)) << server;
    EXPECT_FALSE(dial(&notify, "127.0.0.1", 0, 0, "", 0));
    EXPECT_FALSE(dial(&notify, "127.0.0.1", 1, 4, "127.0.0.1", 1)) << "no such kind of proxy";
    EXPECT_FALSE(dial(&notify, "127.0.0.1", 1, -1, "127.0.0.1", 1));
    EXPECT_FALSE(dial(&notify, "127.0.0.1", 1, 1, "127.0.0.1", 0));
    for (const char* host : {"", "socks5://127.0.0.1", "user@127.0.0.1", "127.0.0.1:80", "a b", "a/b", "a\r\nb"})
        EXPECT_FALSE(dial(&notify, "127.0.0.1", 1, 1, host, 1)) << host;
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
    peers[1].Send(kHello);
    ASSERT_TRUE(server.Session(0));
    newcomer.Send(kHello);
    ASSERT_TRUE(server.Session(1));
    const std::vector<std::string> asked = filter.m_events.All();
    EXPECT_EQ(std::vector<std::string>(asked.begin(), asked.begin() + 5),
              (std::vector<std::string>{"0", "1", "2", "3", "2"}));
}
