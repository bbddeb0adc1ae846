// After a release has returned, no callback of that object runs: from inside every callback, and from other threads
// while frames pour in.
#include "platform/lumonet/tcp_limits.h"
#include "tcp_support.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

using namespace tcp_test;

namespace {

constexpr int kPour = 40;  // frames that each side sends as soon as it may

enum class At { Connected, Answer, Frame, Disconnected, OtherThread };

// Releases itself in the chosen callback; any callback after a release fails the test.
class CBriefClient final : public ITcpClientNotify {
public:
    CBriefClient(At at, uint16_t port) : m_at(at) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_pNet = CreateTcpClient(this, "127.0.0.1", port, 0, "", 0, "", "");
    }
    ~CBriefClient() { EXPECT_TRUE(m_bReleased); }

    void Release() {
        ITcpClient* net = nullptr;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            std::swap(net, m_pNet);
        }
        if (!net) return;
        net->ReleaseConnections();
        m_bReleased = true;
    }
    void OnTcpClientNotifyConnected() override {
        Step(At::Connected);
        const std::string hello = Validation(7, "hello");
        Send(hello, 1);
        for (int i = 0; i < kPour; ++i) Send("from the client", 0);
    }
    void OnTcpClientNotifyDisconnected() override { Step(At::Disconnected); }
    bool OnTcpClientNotifyValidate(unsigned long, const char*, int) override { return Step(At::Answer); }
    bool OnTcpClientNotifyReceivedFrame(const char*, int) override {
        Step(At::Frame);
        return m_at != At::Disconnected;  // false brings that callback about
    }
    bool IsReleased() const { return m_bReleased; }

private:
    bool Step(At at) {
        EXPECT_FALSE(m_bReleased) << "a callback after the release";
        if (at == m_at) Release();
        return true;
    }
    void Send(const std::string& bytes, int mode) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_pNet) m_pNet->SendData(bytes.data(), static_cast<int>(bytes.size()), mode);
    }

    const At m_at;
    std::mutex m_mutex;
    ITcpClient* m_pNet = nullptr;
    std::atomic<bool> m_bReleased{false};
};

// Releases itself after some frames, or is detached and ended by another thread.
class CBriefSession final : public ITcpSessionNotify {
public:
    CBriefSession(ITcpSession* session, int frames) : m_pNet(session), m_nFrames(frames) {}
    bool OnTcpSessionNotifyReceivedFrame(const char*, int) override {
        EXPECT_FALSE(m_bReleased) << "a callback after the release";
        if (ITcpSession* session = m_pNet)
            session->SendData("an echo", 7, 0);  // null: another thread waits for this call
        if (--m_nFrames == 0) Release();
        return true;
    }
    void Release() {
        if (ITcpSession* session = m_pNet.exchange(nullptr)) session->ReleaseConnections();
        m_bReleased = true;
    }
    std::atomic<ITcpSession*> m_pNet;
    std::atomic<bool> m_bReleased{false};

private:
    int m_nFrames;
};

// Ends each session in another way.
class CBriefServer final : public ITcpServerNotify {
public:
    explicit CBriefServer(std::vector<std::unique_ptr<CBriefSession>>& finished) : m_finished(finished) {
        for (int i = 0; i < 50 && !m_pNet; ++i) m_pNet = CreateTcpServer(this, m_usPort = FreePort());
    }
    ~CBriefServer() { ReleaseAll(); }

    bool OnTcpServerNotifyValidate(ITcpSession* session, unsigned long, const char*, int) override {
        EXPECT_FALSE(m_bReleased) << "a callback after the release";
        const unsigned way = m_nSessions++ % 4;
        if (way == 0 && !Accept(session)) return false;
        if (way == 0) return session->ReleaseConnections(), true;
        const std::string answer = Validation(8, "welcome");
        session->SendData(answer.data(), static_cast<int>(answer.size()), 1);
        for (int i = 0; i < kPour; ++i) session->SendData("from the session", 16, 0);
        auto kept = std::make_unique<CBriefSession>(session, way == 1 ? 5 : 1 << 30);
        session->SetNotify(kept.get());
        if (!Accept(session)) return false;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            (way == 1 ? m_finished : m_running).push_back(std::move(kept));
        }
        if (m_bReleaseInside) Release();
        return true;
    }
    // On another thread: the notify object goes at once.
    void EndOne(bool detachFirst) {
        std::unique_ptr<CBriefSession> session;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_running.empty()) return;
            session = std::move(m_running.back());
            m_running.pop_back();
        }
        if (!detachFirst) return session->Release();
        ITcpSession* net = session->m_pNet;
        net->SetNotify(nullptr);
        session->m_bReleased = true;
        session.reset();
        net->ReleaseConnections();
    }
    void Release() {
        if (ITcpServer* server = m_pNet.exchange(nullptr)) server->ReleaseConnections();
        m_bReleased = true;
    }
    void ReleaseAll() {
        Release();
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const auto& session : m_running) session->Release();
    }

    uint16_t m_usPort = 0;
    std::atomic<ITcpServer*> m_pNet{nullptr};
    std::atomic<bool> m_bReleaseInside{false};
    std::atomic<bool> m_bReleased{false};

private:
    bool Accept(ITcpSession* session) {
        ITcpServer* server = m_pNet;  // null once another thread has begun to release it
        return server && server->AcceptSession(session);
    }

    unsigned m_nSessions = 0;
    std::mutex m_mutex;
    std::vector<std::unique_ptr<CBriefSession>> m_running;
    std::vector<std::unique_ptr<CBriefSession>>& m_finished;  // they release themselves, at whatever time
};

}  // namespace

TEST(TcpRelease, HoldsInEveryCallbackAndOnOtherThreadsWhileFramesPourIn) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(15);
    std::mt19937 random(1);
    int rounds = 0;
    // What is released from inside a callback may still be in that callback: it is deleted when the reactor has gone.
    std::vector<std::unique_ptr<CBriefSession>> sessions;
    std::vector<std::unique_ptr<CBriefServer>> servers;
    std::vector<std::unique_ptr<CBriefClient>> inside;
    auto server = std::make_unique<CBriefServer>(sessions);
    for (; rounds < 4000 && std::chrono::steady_clock::now() < end; ++rounds) {
        if (rounds % 50 == 49) {
            if (rounds % 100 == 99) {  // the listener goes from inside its own callback
                server->m_bReleaseInside = true;
                CBriefClient last(At::OtherThread, server->m_usPort);
                Eventually([&] { return server->m_bReleased || random() % 64 == 0; });
                last.Release();
                server->ReleaseAll();
                servers.push_back(std::move(server));
            }
            server = std::make_unique<CBriefServer>(sessions);
            for (const auto& client : inside) client->Release();
        }
        const At at = static_cast<At>(rounds % 5);
        auto client = std::make_unique<CBriefClient>(at, server->m_usPort);
        if (at == At::OtherThread || random() % 4 == 0) {
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 500));  // anywhere in its life
            server->EndOne(rounds % 2 == 0);
            client->Release();
            if (at == At::OtherThread) continue;
        }
        inside.push_back(std::move(client));
    }
    for (const auto& client : inside) client->Release();
    server.reset();
    for (const auto& session : sessions) session->Release();
    EXPECT_TRUE(Eventually([] { return !ThreadLives("lumo-tcp"); }))
        << "the reactor's thread has gone with the last one";
    printf("%d rounds\n", rounds);
    EXPECT_GT(rounds, 500);
}

TEST(TcpRelease, WaitsForItsOwnCallbackAndForNoOther) {
    CServer server;
    CClient bystander, blocking, another;
    CEvents inside, goOn;
    std::atomic<bool> done{false};
    blocking.m_onFrame = [&] {
        inside.Add("inside");
        EXPECT_TRUE(goOn.WaitForCount(1));
        done = true;
    };
    for (CClient* const client : {&bystander, &blocking}) {
        ASSERT_TRUE(client->Meet(server.m_usPort));
    }
    ASSERT_TRUE(server.Session(1));
    server.Session(1)->Send("frame");
    ASSERT_TRUE(inside.WaitForCount(1));
    // The reactor is held up. Senders, makers and the releases of others do not wait for it.
    blocking.Send("x");
    EXPECT_GT(blocking.Net()->GetSendQueueSize(), 0u);
    bystander.Send("x");
    bystander.Net()->ClearSendQueue();
    bystander.Release();
    server.Session(0)->m_pNet->SetNotify(nullptr);
    const uint16_t port = server.m_usPort;
    server.Release();
    server.m_pNet = CreateTcpServer(&server, port);
    EXPECT_NE(server.m_pNet, nullptr) << "the port is free at once";
    EXPECT_TRUE(another.Dial(port));
    std::thread releasing([&] {
        blocking.Release();
        EXPECT_TRUE(done) << "its own callback still ran";
    });
    goOn.Add("go on");
    releasing.join();
    EXPECT_TRUE(another.m_events.WaitFor("answer 8 welcome"));
}

TEST(TcpRelease, TheLastOneMayGoAndANewOneComeInsideACallback) {
    CShortLimit limit(net::g_timeouts.linger, 1);  // the peers here do not close
    for (int i = 0; i < 200; ++i) {
        CRawListener listener;
        CClient first;
        CClient second;
        CEvents done;
        first.m_onFrame = [&] {
            first.Release();  // nothing is left
            EXPECT_TRUE(i % 2 == 0 || second.Dial(listener.Port()));
            done.Add("done");
        };
        ASSERT_TRUE(first.Dial(listener.Port()));
        CRawPeer peer = listener.Accept();
        ASSERT_TRUE(peer.Send(kWelcome + Framed(0, "frame") + Framed(0, "another")));
        ASSERT_TRUE(done.WaitForCount(1));
        EXPECT_TRUE(i % 2 == 0 || second.m_events.WaitFor("connected"));
        second.Release();
        ASSERT_TRUE(Eventually([] { return !ThreadLives("lumo-tcp"); }));
        EXPECT_EQ(first.m_events.Count("frame another"), 0u);
    }
}
