#include "platform/lumonet/tcp_limits.h"
#include "tcp_support.h"

#include <gtest/gtest.h>

#include <random>

using namespace tcp_test;

namespace {

std::string Random(size_t length, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(length, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

// A client and the session that the server has made of it.
struct Pair {
    CServer server;
    CClient client;
    CSession* session = nullptr;

    Pair() {
        EXPECT_TRUE(client.Dial(server.m_usPort));
        EXPECT_TRUE(client.m_events.WaitFor("answer 8 welcome"));
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
    unsigned seed = 0;
    for (const size_t length : {1u, 64u, 65536u, 2u, 3'000'000u, 1000u, 131072u, 5u}) {
        for (int i = 0; i < 5; ++i) {
            const std::string frame = Random(length, ++seed);
            expected.push_back(FrameEvent(frame.data(), frame.size()));
            pair.client.Send(frame);
            pair.session->Send(frame);
        }
    }
    EXPECT_TRUE(pair.session->m_events.WaitForCount(expected.size()));
    EXPECT_EQ(pair.session->m_events.All(), expected);
    EXPECT_TRUE(pair.client.m_events.WaitForCount(expected.size() + 2));
    expected.insert(expected.begin(), {"connected", "answer 8 welcome"});
    EXPECT_EQ(pair.client.m_events.All(), expected);
    EXPECT_EQ(pair.client.Net()->GetSendQueueSize(), 0u);
    EXPECT_FALSE(pair.client.Net()->IsDisconnected());
}
