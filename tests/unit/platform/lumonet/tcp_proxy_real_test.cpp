// Through the proxies that people run.
#include "tcp_proxy_process.h"
#include "tcp_support.h"

#include <gtest/gtest.h>

using namespace tcp_test;

namespace {

struct RealProxy {
    const char* program;
    ProxyType type;
    bool hasPassword;
    CProxyProcess::Command command;
    CProxyProcess::Config config;
};

const RealProxy kProxies[] = {
    {"tinyproxy", ProxyType::HttpConnect, true,
     [](uint16_t, const std::string& config) {
         return std::vector<std::string>{FindProxyProgram("tinyproxy"), "-d", "-c", config};
     },
     [](uint16_t port) {
         return "Port " + std::to_string(port) +
                "\nListen 127.0.0.1\nTimeout 60\nAllow 127.0.0.1\nMaxClients 20\nBasicAuth someone secret-word\n";
     }},
    {"microsocks", ProxyType::Socks5, true,
     [](uint16_t port, const std::string&) {
         const std::string number = std::to_string(port);
         return std::vector<std::string>{
             FindProxyProgram("microsocks"), "-i", "127.0.0.1", "-p", number, "-u", "someone", "-P", "secret-word"};
     },
     [](uint16_t) { return ""; }},
    {"danted", ProxyType::Socks4a, false,
     [](uint16_t, const std::string& config) {
         return std::vector<std::string>{FindProxyProgram("danted"), "-f", config, "-p", config + ".pid"};
     },
     [](uint16_t port) {
         return "logoutput: stderr\ninternal: 127.0.0.1 port = " + std::to_string(port) +
                "\nexternal: 127.0.0.1\nclientmethod: none\nsocksmethod: none\n"
                "client pass { from: 127.0.0.0/8 to: 0.0.0.0/0 }\nsocks pass { from: 127.0.0.0/8 to: 0.0.0.0/0 }\n";
     }},
};

class TcpProxyReal : public testing::TestWithParam<RealProxy> {};

}  // namespace

TEST_P(TcpProxyReal, CarriesFramesAndRefusesStrangers) {
    const RealProxy& row = GetParam();
    if (FindProxyProgram(row.program).empty()) {
        ASSERT_EQ(std::getenv("LUMO_REQUIRE_ALL"), nullptr) << row.program << " is not installed";
        GTEST_SKIP() << row.program << " is not installed";
    }
    CProxyProcess proxy(row.command, row.config);
    ASSERT_TRUE(proxy.IsUp()) << proxy.Output();
    CServer server;
    const auto dial = [&](CClient& client, uint16_t port, const std::string& password) {
        return client.Dial(port, row.type, proxy.Port(), password.empty() ? "" : "someone", password);
    };
    {
        CClient client;
        ASSERT_TRUE(dial(client, server.m_usPort, "secret-word"));
        ASSERT_TRUE(client.m_events.WaitFor("answer 8 welcome")) << proxy.Output();
        EXPECT_EQ(client.Net()->GetRemoteIP(), kLoopback);
        std::vector<std::string> expected;
        for (int i = 0; i < 20; ++i) {
            const std::string frame(static_cast<size_t>(i * i * 1000 + 1), static_cast<char>('a' + i));
            expected.push_back(FrameEvent(frame.data(), frame.size()));
            client.Send(frame);
            server.Session(0)->Send(frame);
        }
        EXPECT_EQ(server.Session(0)->m_events.Await(expected.size()), expected);
        ASSERT_TRUE(client.m_events.WaitForCount(expected.size() + 2));
        expected.insert(expected.begin(), {"connected", "answer 8 welcome"});
        EXPECT_EQ(client.m_events.All(), expected);
    }
    std::vector<std::pair<uint16_t, std::string>> refused{{FreePort(), "secret-word"}};  // nobody listens there
    if (row.hasPassword) {
        refused.push_back({server.m_usPort, "wrong-word"});
        refused.push_back({server.m_usPort, ""});
    }
    for (const auto& [port, password] : refused) {
        CClient client;
        ASSERT_TRUE(dial(client, port, password));
        EXPECT_TRUE(client.m_events.WaitFor("disconnected")) << port << " " << password;
        EXPECT_TRUE(client.Net()->IsDisconnected());
        // A proxy may have taken the connection before it knew that nobody is there, never a wrong password.
        EXPECT_TRUE(port != server.m_usPort || client.m_events.All().size() == 1);
    }
    EXPECT_EQ(server.m_events.All().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Programs, TcpProxyReal, testing::ValuesIn(kProxies),
                         [](const auto& row) { return std::string(row.param.program); });
