// After a release has returned, no callback of that object runs: from inside every callback, and from other threads
// while frames pour in. The endpoints of the tests see to that themselves.
#include "platform/lumonet/tcp_limits.h"
#include "support/stay.h"
#include "tcp_support.h"

#include <chrono>
#include <random>
#include <thread>

using namespace tcp_test;

namespace {

constexpr int kPour = 40;  // frames that each side sends as soon as it may

template <class TEnd>
void Pour(TEnd& end) {
    for (int i = 0; i < kPour; ++i) end.Send("one of many");
}

// Listeners one after the other. Sessions end in four ways: at once, by themselves, and on another thread in two.
class CBriefServers {
public:
    CBriefServers() { Next(); }
    uint16_t Port() const { return m_all.back()->m_usPort; }
    void Next() {
        if (!m_all.empty()) End();
        m_bReleasesItself = false;
        m_all.push_back(std::make_unique<CServer>());
        m_all.back()->m_onValidate = [this](CServer& server, ITcpSession* session) { return Begin(server, session); };
    }
    void End() {
        m_all.back()->Release();
        while (m_all.back()->TakeLast()) {}
        for (const auto& session : m_finished) session->Release();
    }
    /// The present one goes from inside its next callback.
    void LetReleaseItself() { m_bReleasesItself = true; }
    bool IsReleased() const { return m_all.back()->IsReleased(); }
    /// On this thread; the notify object goes at once.
    void EndOneSession(bool detachFirst) {
        std::unique_ptr<CSession> session = m_all.back()->TakeLast();
        if (!session || !detachFirst) return;
        session->Net()->SetNotify(nullptr);
        ITcpSession* const net = session->Disown();
        session.reset();
        net->ReleaseConnections();
    }

private:
    bool Begin(CServer& server, ITcpSession* session) {
        const unsigned way = m_nSessions++ % 4;
        ITcpServer* const net = server.Net();  // null once another thread has begun to release it
        if (!net || !net->AcceptSession(session)) return false;
        if (way == 0) return session->ReleaseConnections(), true;
        auto kept = std::make_unique<CSession>(session);
        kept->m_onEvent = [&self = *kept, left = way == 1 ? 5 : -1](const std::string&) mutable {
            self.Send("an echo");
            if (--left == 0) self.Release();
        };
        kept->Send(Validation(8, "welcome"), 1);
        Pour(*kept);
        session->SetNotify(kept.get());
        if (way == 1)
            m_finished.push_back(std::move(kept));
        else
            server.Add(std::move(kept));
        if (m_bReleasesItself) server.Release();
        return true;
    }

    std::atomic<bool> m_bReleasesItself{false};
    unsigned m_nSessions = 0;                           // the TCP thread's
    std::vector<std::unique_ptr<CSession>> m_finished;  // the TCP thread's
    // What is released from inside a callback may still be in it, and is kept until the TCP thread has gone.
    std::vector<std::unique_ptr<CServer>> m_all;
};

}  // namespace

TEST(TcpRelease, HoldsInEveryCallbackAndOnOtherThreadsWhileFramesPourIn) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    const char* const callbacks[] = {"connected", "answer 8 welcome", "frame one of many", "disconnected", "none"};
    std::mt19937 random(1);
    std::vector<std::unique_ptr<CClient>> inside;  // kept as the listeners are
    CBriefServers servers;
    int rounds = 0;
    for (; rounds < 4000 && std::chrono::steady_clock::now() < end; ++rounds) {
        if (rounds % 100 == 99) {
            servers.LetReleaseItself();
            CClient last;
            last.Dial(servers.Port());
            Eventually([&] { return servers.IsReleased() || random() % 64 == 0; });
        }
        if (rounds % 50 == 49) {
            servers.Next();
            for (const auto& client : inside) client->Release();
        }
        const std::string callback = callbacks[rounds % 5];
        auto client = std::make_unique<CClient>();
        client->m_bTakesFrames = callback != "disconnected";  // which a refusal brings about
        client->m_onEvent = [&self = *client, callback](const std::string& event) {
            if (event == "connected") Pour(self);
            if (event == callback) self.Release();
        };
        client->Dial(servers.Port());
        if (callback == "none" || random() % 4 == 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));  // anywhere in its life
            servers.EndOneSession(rounds % 2 == 0);
            client->Release();
        }
        if (callback != "none") inside.push_back(std::move(client));
    }
    for (const auto& client : inside) client->Release();
    servers.End();
    EXPECT_TRUE(Eventually([] { return !ThreadLives("lumo-tcp"); })) << "it goes with the last one";
    EXPECT_GT(rounds, 500);
}

TEST(TcpRelease, WaitsForItsOwnCallbackAndForNoOther) {
    CServer server;
    CClient bystander, blocking, another;
    CStay inside;
    blocking.m_onEvent = [&](const std::string& event) {
        if (event == "frame frame") inside.Stay();
    };
    for (CClient* const client : {&bystander, &blocking}) ASSERT_TRUE(client->Meet(server.m_usPort));
    ASSERT_TRUE(server.Session(1));
    server.Session(1)->Send("frame");
    inside.WaitUntilInside();
    // The TCP thread is held up. Senders, makers and the releases of others do not wait for it.
    blocking.Send("x");
    EXPECT_GT(blocking.Net()->GetSendQueueSize(), 0u);
    bystander.Send("x");
    bystander.Net()->ClearSendQueue();
    bystander.Release();
    server.Session(0)->Net()->SetNotify(nullptr);
    server.Release();
    EXPECT_TRUE(server.Listen(server.m_usPort)) << "the port is free at once";
    EXPECT_TRUE(another.Dial(server.m_usPort));
    std::thread releasing([&] {
        blocking.Release();
        EXPECT_TRUE(inside.HasLeft()) << "its own callback still ran";
    });
    inside.LetGo();
    releasing.join();
    EXPECT_TRUE(another.m_events.WaitFor("answer 8 welcome"));
}

TEST(TcpRelease, TheLastOneMayGoAndANewOneComeInsideACallback) {
    CShortLimit limit(net::g_timeouts.linger, 1);  // the peers here do not close
    for (int i = 0; i < 200; ++i) {
        CRawListener listener;
        CClient first, second;
        CEvents done;
        first.m_onEvent = [&](const std::string& event) {
            if (event != "frame frame") return;
            first.Release();  // nothing is left
            EXPECT_TRUE(i % 2 == 0 || second.Dial(listener.Port()));
            done.Add("done");
        };
        ASSERT_TRUE(first.Dial(listener.Port()));
        const CRawPeer peer = listener.Accept();
        ASSERT_TRUE(peer.Send(kWelcome + Framed(0, "frame") + Framed(0, "another")));
        ASSERT_TRUE(done.WaitForCount(1));
        EXPECT_TRUE(i % 2 == 0 || second.m_events.WaitFor("connected"));
        second.Release();
        ASSERT_TRUE(Eventually([] { return !ThreadLives("lumo-tcp"); }));
        EXPECT_EQ(first.m_events.Count("frame another"), 0u);
    }
}
