// Through a proxy that need not behave.
#include "platform/lumobase/app_log.h"
#include "platform/lumonet/tcp_limits.h"
#include "support/log_capture.h"
#include "tcp_support.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

using namespace tcp_test;

namespace {

const std::string kAnswer = kWelcome + Framed(0, "first");
const std::string kEstablished = "HTTP/1.1 200 Connection established\r\n\r\n";

std::string ReadHead(CRawPeer& peer) {
    std::string head;
    while (head.find("\r\n\r\n") == std::string::npos) {
        const std::string byte = peer.Read(1);
        if (byte.empty()) break;
        head += byte;
    }
    return head;
}

std::string Bytes(std::initializer_list<int> values) {
    std::string bytes;
    for (const int value : values) bytes += static_cast<char>(value);
    return bytes;
}

const std::string kSocks5Chosen = Bytes({5, 0});
const std::string kSocks5Done = Bytes({5, 0, 0, 1, 127, 0, 0, 1, 0, 80});
const std::string kSocks4Done = Bytes({0, 90, 0, 80, 127, 0, 0, 1});

void Socks5Greeting(CRawPeer& peer) { peer.Read(2 + static_cast<unsigned char>(peer.Read(2).back()) - 2); }

struct Row {
    const char* what;
    ProxyType type;
    std::function<void(CRawPeer&)> proxy;  // plays the target too
};

// Plays one connection of a proxy on a thread of its own, until the client has gone.
class CFakeProxy {
public:
    explicit CFakeProxy(std::function<void(CRawPeer&)> script)
        : m_thread([this, script = std::move(script)] {
              CRawPeer peer = m_listener.Accept();
              script(peer);
          }) {}
    ~CFakeProxy() { m_thread.join(); }
    uint16_t Port() const { return m_listener.Port(); }

private:
    CRawListener m_listener;
    std::thread m_thread;
};

}  // namespace

TEST(TcpProxyFake, LosesNothingThatComesTogetherWithTheAnswer) {
    const Row rows[] = {
        {"HTTP", ProxyType::HttpConnect,
         [](CRawPeer& peer) {
             EXPECT_EQ(ReadHead(peer).rfind("CONNECT 127.0.0.1:9 HTTP/1.1\r\n", 0), 0u);
             peer.Send(kEstablished + kAnswer);
         }},
        {"SOCKS5", ProxyType::Socks5,
         [](CRawPeer& peer) {
             Socks5Greeting(peer);
             peer.Send(kSocks5Chosen);
             EXPECT_EQ(peer.Read(10), Bytes({5, 1, 0, 1, 127, 0, 0, 1, 0, 9}));
             peer.Send(kSocks5Done + kAnswer);
         }},
        {"SOCKS4", ProxyType::Socks4a,
         [](CRawPeer& peer) {
             EXPECT_EQ(peer.Read(9), Bytes({4, 1, 0, 9, 127, 0, 0, 1, 0}));
             peer.Send(kSocks4Done + kAnswer);
         }},
    };
    // What the environment says of proxies is nobody's business here.
    for (const char* name : {"http_proxy", "ALL_PROXY"}) setenv(name, "http://127.0.0.1:1", 1);
    for (const char* name : {"no_proxy", "NO_PROXY"}) setenv(name, "*", 1);
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        CFakeProxy proxy([&row](CRawPeer& peer) {
            row.proxy(peer);
            EXPECT_EQ(peer.Read(kHello.size()), kHello);
            EXPECT_TRUE(peer.IsClosed());
        });
        CClient client;
        ASSERT_TRUE(client.Dial(9, row.type, proxy.Port()));
        EXPECT_EQ(client.m_events.Await(3), (std::vector<std::string>{"connected", "answer 8 welcome", "frame first"}));
    }
    for (const char* name : {"http_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"}) unsetenv(name);
}

TEST(TcpProxyFake, FailsCleanlyAndWithoutSecretsInTheLog) {
    const auto says = [](std::string words) { return [words](CRawPeer& peer) { ReadHead(peer), peer.Send(words); }; };
    const auto hangs = [](CRawPeer& peer) { EXPECT_TRUE(peer.IsClosed()) << "the client gives up"; };
    const Row rows[] = {
        {"closes at once", ProxyType::HttpConnect, [](CRawPeer&) {}},
        {"wants another password", ProxyType::HttpConnect,
         says("HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: Basic realm=\"x\"\r\n"
              "Content-Length: 0\r\nConnection: close\r\n\r\n")},
        {"a redirection elsewhere", ProxyType::HttpConnect, says("HTTP/1.1 302 Found\r\nLocation: http://x/\r\n\r\n")},
        {"headers without end", ProxyType::HttpConnect,
         [](CRawPeer& peer) {
             ReadHead(peer);
             peer.Send("HTTP/1.1 200 OK\r\n");
             while (peer.Send("X-Header: " + std::string(5000, 'x') + "\r\n")) {}
         }},
        {"hangs", ProxyType::HttpConnect, hangs},
        {"SOCKS5 hangs", ProxyType::Socks5, hangs},
        {"SOCKS5 takes no password", ProxyType::Socks5,
         [](CRawPeer& peer) {
             peer.Read(4), peer.Send(Bytes({5, 2})), peer.Read(4), peer.Send(Bytes({1, 1}));
         }},
        {"SOCKS4 refuses", ProxyType::Socks4a,
         [](CRawPeer& peer) {
             peer.Read(9), peer.Send(Bytes({0, 91, 0, 0, 0, 0, 0, 0}));
         }},
    };
    CShortLimit limit(net::g_timeouts.dial, 500);
    CLogCapture log;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        CFakeProxy proxy(row.proxy);
        CClient client;
        ASSERT_TRUE(client.Dial(9, row.type, proxy.Port(), "someone", "secret-word"));
        EXPECT_TRUE(client.m_events.WaitFor("disconnected"));
        EXPECT_TRUE(client.Net()->IsDisconnected());
        EXPECT_EQ(client.m_events.All().size(), 1u);
    }
    CClient nobody;
    ASSERT_TRUE(nobody.Dial(9, ProxyType::HttpConnect, FreePort()));
    EXPECT_TRUE(nobody.m_events.WaitFor("disconnected"));
    AppLog().Flush();
    EXPECT_FALSE(log.Lines().empty());
    for (const std::string& line : log.Lines()) {
        EXPECT_EQ(line.find("secret-word"), std::string::npos) << line;
        EXPECT_EQ(line.find("c29tZW9uZTpzZWNyZXQtd29yZA"), std::string::npos) << line;
    }
}

TEST(TcpProxyFake, DialsGoSideBySideAndAReleaseEndsThem) {
    CRawListener hanging(64);
    CServer server;
    std::vector<std::unique_ptr<CClient>> stuck;
    for (int i = 0; i < 20; ++i) {
        stuck.push_back(std::make_unique<CClient>());
        ASSERT_TRUE(stuck.back()->Dial(9, i % 2 ? ProxyType::Socks5 : ProxyType::HttpConnect, hanging.Port()));
    }
    CRawPeer peer = hanging.Accept();
    CFakeProxy proxy([](CRawPeer& good) { ReadHead(good), good.Send(kEstablished + kAnswer), good.IsClosed(); });
    CClient client;
    ASSERT_TRUE(client.Dial(9, ProxyType::HttpConnect, proxy.Port()));
    EXPECT_TRUE(client.m_events.WaitFor("frame first")) << "the stuck ones hold nobody up";
    client.Release();
    stuck.clear();
    EXPECT_TRUE(peer.IsClosed());
    // Released at any time in a dial's life.
    for (int i = 0; i < 200; ++i) {
        CFakeProxy brief([](CRawPeer& good) { ReadHead(good), good.Send(kEstablished + kAnswer), good.IsClosed(); });
        CClient released;
        ASSERT_TRUE(released.Dial(9, ProxyType::HttpConnect, brief.Port()));
        std::this_thread::sleep_for(std::chrono::microseconds(i * 20));
        released.Release();
        const size_t events = released.m_events.All().size();
        CRawPeer::Dial(brief.Port());  // if the dial had not even begun
        EXPECT_EQ(released.m_events.All().size(), events);
    }
    EXPECT_TRUE(Eventually([] { return !ThreadLives("lumo-dial"); }));
}
