#include "udp_peer.h"

#include "platform/lumonet/socket_address.h"

#include <memory>
#include <thread>

namespace {

using Datagrams = std::vector<std::string>;

class UdpEndpointTest : public CUdpWayTest {};
INSTANTIATE_TEST_SUITE_P(Ways, UdpEndpointTest, testing::ValuesIn(kAllWays), WayName);

TEST_P(UdpEndpointTest, EchoesWithinTheBurstItCameWith) {
    CUdpPeer server, client;
    server.SetHooks(
        {[&] { server.endpoint->BeginBatch(); },
         [&](const ReceivedDatagram& datagram) { server.Send("echo " + datagram.bytes, datagram.ip, datagram.port); },
         [&] { server.endpoint->EndBatch(); }});
    for (int i = 0; i < 20; ++i) {
        const std::string bytes = Pattern(static_cast<size_t>(i), 1 + static_cast<size_t>(i) * 50);
        client.SendTo(server, bytes);
        const auto answers = client.Take(1);
        ASSERT_EQ(answers.size(), 1u);
        EXPECT_EQ(answers[0].bytes, "echo " + bytes);
        EXPECT_EQ(answers[0].ip, kLoopback);
        EXPECT_EQ(answers[0].port, server.Port());
    }
}

TEST_P(UdpEndpointTest, ABatchKeepsOrderBoundariesAndDestinations) {
    CUdpPeer sender, first, second;
    // Runs of equal sizes, shorter enders, growing sizes, changes of destination in and between runs.
    const size_t sizes[] = {1070, 1070, 1070, 300, 1070, 1070, 1,    2,    3,    3,
                            3,    500,  400,  400, 400,  401,  1070, 9000, 9000, 20};
    Datagrams forFirst, forSecond;
    sender.endpoint->BeginBatch();
    size_t number = 0;
    for (const bool alternate : {false, true}) {
        for (const size_t size : sizes) {
            const bool toSecond = alternate && ++number % 3 == 0;
            const std::string bytes = Pattern(number * 100 + size, size);
            (toSecond ? forSecond : forFirst).push_back(bytes);
            sender.SendTo(toSecond ? second : first, bytes);
        }
    }
    sender.endpoint->EndBatch();
    EXPECT_EQ(first.TakeBytes(forFirst.size()), forFirst);
    EXPECT_EQ(second.TakeBytes(forSecond.size()), forSecond);
}

TEST_P(UdpEndpointTest, EverySizeTravelsAloneAndInABatch) {
    CUdpPeer sender, receiver;
    for (const size_t size : {1u, 2u, 1069u, 1472u, 1473u, 8192u, 32767u, 65000u, 65506u, 65507u}) {
        const std::string alone = Pattern(size, size), next = Pattern(size + 1, size);
        sender.SendTo(receiver, alone);
        ASSERT_EQ(receiver.TakeBytes(1), Datagrams{alone}) << size;
        sender.endpoint->BeginBatch();
        sender.SendTo(receiver, alone);
        sender.SendTo(receiver, next);
        sender.endpoint->EndBatch();
        ASSERT_EQ(receiver.TakeBytes(2), (Datagrams{alone, next})) << size;
    }
}

TEST_P(UdpEndpointTest, WhatIsRefusedIsCountedAndTheRestGoesOn) {
    CUdpPeer sender, receiver;
    const auto before = GetUdpCounters();
    Datagrams expected;
    const auto good = [&](int count) {
        for (int i = 0; i < count; ++i) {
            expected.push_back(Pattern(expected.size(), 200));
            sender.SendTo(receiver, expected.back());
        }
    };
    sender.endpoint->BeginBatch();
    good(3);
    sender.Send("no address", 0, receiver.Port());
    sender.Send("no port", kLoopback, 0);
    sender.endpoint->SendData(nullptr, 5, kLoopback, receiver.Port());
    sender.endpoint->SendData("negative", -1, kLoopback, receiver.Port());
    sender.endpoint->SendData("empty", 0, kLoopback, receiver.Port());
    sender.Send(std::string(65508, 'x'), kLoopback, receiver.Port());
    good(1);
    for (int i = 0; i < 4; ++i) sender.Send(std::string(200, 'b'), 0xffffffff, 9);  // broadcast was not asked for
    good(2);
    sender.Send("broadcast", 0xffffffff, 9);
    good(1);
    sender.endpoint->EndBatch();
    EXPECT_EQ(receiver.TakeBytes(7), expected);
    const auto after = GetUdpCounters();
    EXPECT_EQ(after.refused - before.refused, 11u);
    EXPECT_EQ(after.sent - before.sent, 7u);
    EXPECT_EQ(after.bytesSent - before.bytesSent, 1400u);
    receiver.Release();
    EXPECT_EQ(GetUdpCounters().received - before.received, 7u);
    EXPECT_EQ(GetUdpCounters().bytesReceived - before.bytesReceived, 1400u);
}

TEST_P(UdpEndpointTest, BatchesNestByCountAndFlushLeavesThemOpen) {
    CUdpPeer sender, receiver;
    const auto before = GetUdpCounters().sent;
    const auto sent = [&] { return GetUdpCounters().sent - before; };
    const auto waiting = [&](uint64_t collected, uint64_t atOnce) { return GetParam().collects ? collected : atOnce; };
    sender.endpoint->BeginBatch();
    sender.endpoint->BeginBatch();
    sender.SendTo(receiver, "one");
    sender.endpoint->EndBatch();
    EXPECT_EQ(sent(), waiting(0, 1)) << "the outer level is still open";
    sender.SendTo(receiver, "two");
    sender.endpoint->FlushBatch();
    EXPECT_EQ(sent(), 2u);
    EXPECT_EQ(receiver.TakeBytes(2), (Datagrams{"one", "two"}));
    sender.SendTo(receiver, "three");
    EXPECT_EQ(sent(), waiting(2, 3));
    sender.endpoint->EndBatch();
    EXPECT_EQ(receiver.TakeBytes(1), Datagrams{"three"});
    sender.endpoint->EndBatch();
    sender.endpoint->FlushBatch();
    sender.SendTo(receiver, "an end without a begin changes nothing");
    EXPECT_EQ(sent(), 4u);
    EXPECT_EQ(receiver.TakeBytes(1).size(), 1u);
}

TEST_P(UdpEndpointTest, ABatchMayBeLargerThanWhatIsKept) {
    const struct {
        const char* what;
        size_t count, size, sizeOf100;
        bool inTurn;
    } rows[] = {{"more bytes", 5, 60000, 0, false},
                {"more equal ones than a message carries, a shorter one among them", 150, 100, 10, false},
                {"more changes of destination than one call carries", 150, 20, 20, true}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        CUdpPeer sender, first, second;
        Datagrams sent;
        sender.endpoint->BeginBatch();
        for (size_t i = 0; i < row.count; ++i) {
            sent.push_back(Pattern(i, i == 100 ? row.sizeOf100 : row.size));
            sender.SendTo(first, sent.back());
            if (row.inTurn) sender.SendTo(second, sent.back());
        }
        sender.endpoint->EndBatch();
        EXPECT_EQ(first.TakeBytes(sent.size()), sent);
        EXPECT_TRUE(!row.inTurn || second.TakeBytes(sent.size()) == sent);
    }
}

TEST_P(UdpEndpointTest, EachThreadHasABatchOfItsOwn) {
    constexpr size_t kThreads = 4, kEach = 40;
    CUdpPeer sender, receiver;
    std::vector<std::thread> threads;
    for (size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            sender.endpoint->BeginBatch();
            for (size_t i = 0; i < kEach; ++i) {
                sender.SendTo(receiver, std::to_string(t) + " " + std::to_string(i));
                if (i % 16 == 15) sender.endpoint->FlushBatch();
            }
            sender.endpoint->EndBatch();
        });
    }
    for (std::thread& thread : threads) thread.join();
    size_t next[kThreads] = {};
    for (const std::string& bytes : receiver.TakeBytes(kThreads * kEach)) {
        size_t t = 0, i = 0;
        ASSERT_EQ(std::sscanf(bytes.c_str(), "%zu %zu", &t, &i), 2);
        ASSERT_LT(t, kThreads);
        EXPECT_EQ(i, next[t]++);
    }
    for (const size_t count : next) EXPECT_EQ(count, kEach);
}

TEST_P(UdpEndpointTest, BatchesOfSeveralEndpointsStayApart) {
    CUdpPeer first, second, receiver;
    first.endpoint->BeginBatch();
    first.SendTo(receiver, "1a");
    second.endpoint->BeginBatch();
    second.SendTo(receiver, "2a");
    first.SendTo(receiver, "1b");
    second.endpoint->EndBatch();
    first.endpoint->EndBatch();
    Datagrams fromFirst, fromSecond;
    for (const ReceivedDatagram& datagram : receiver.Take(3)) {
        (datagram.port == first.Port() ? fromFirst : fromSecond).push_back(datagram.bytes);
    }
    EXPECT_EQ(fromFirst, (Datagrams{"1a", "1b"}));
    EXPECT_EQ(fromSecond, Datagrams{"2a"});
}

TEST_P(UdpEndpointTest, ABatchLeftOpenHarmsNobody) {
    CUdpPeer receiver;
    // More endpoints than a thread can have batches for, each ended by another thread while this one's batch is open.
    for (int i = 0; i < 20; ++i) {
        CUdpPeer sender;
        sender.endpoint->BeginBatch();
        sender.SendTo(receiver, "open");
        std::thread([&] { sender.Release(); }).join();
        CUdpPeer next;
        next.SendTo(receiver, "next");
        for (bool found = false; !found;) {
            const Datagrams bytes = receiver.TakeBytes(1);
            ASSERT_FALSE(bytes.empty());
            found = bytes.back() == "next";
        }
    }
    // A thread that ends with one.
    CUdpPeer sender;
    std::thread([&] {
        sender.endpoint->BeginBatch();
        sender.SendTo(receiver, "open");
    }).join();
    // More open at a time than are kept: what comes too late is sent at once.
    std::vector<std::unique_ptr<CUdpPeer>> many;
    for (int i = 0; i < 12; ++i) many.push_back(std::make_unique<CUdpPeer>());
    for (auto& peer : many) peer->endpoint->BeginBatch();
    for (auto& peer : many) peer->SendTo(receiver, "many");
    for (auto& peer : many) peer->endpoint->EndBatch();
    for (size_t arrived = 0; arrived < many.size();) {
        const Datagrams bytes = receiver.TakeBytes(1);
        ASSERT_FALSE(bytes.empty());
        arrived += static_cast<size_t>(std::count(bytes.begin(), bytes.end(), "many"));
    }
}

TEST_P(UdpEndpointTest, EmptyDatagramsAndBurstsOfThemAreNotDelivered) {
    CUdpPeer receiver;
    const CFileDescriptor raw = OpenSocket(SOCK_DGRAM);
    const sockaddr_in to = ToSocketAddress(kLoopback, receiver.Port());
    const auto send = [&](const char* bytes, size_t length) {
        sendto(raw.Get(), bytes, length, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    };
    for (int i = 0; i < 50; ++i) send("", 0);
    send("x", 1);
    send("", 0);
    send("y", 1);
    EXPECT_EQ(receiver.TakeBytes(2), (Datagrams{"x", "y"}));
    EXPECT_LE(receiver.Bursts(), 2u);
}

TEST_P(UdpEndpointTest, ACallbackThatThrowsCostsNothingElse) {
    CUdpPeer sender, receiver;
    CUdpPeer::Hooks hooks;
    hooks.datagram = [](const ReceivedDatagram& datagram) {
        if (datagram.bytes == "bad") throw std::runtime_error("application");
    };
    receiver.SetHooks(hooks);
    sender.SendTo(receiver, "bad");
    sender.SendTo(receiver, "good");
    EXPECT_EQ(receiver.TakeBytes(1), Datagrams{"good"});
}

TEST_P(UdpEndpointTest, APortInUseIsRefused) {
    CUdpPeer first;
    CUdpPeer second(kLoopback, first.Port());
    EXPECT_EQ(second.endpoint, nullptr);
    const uint16_t port = first.Port();
    first.Release();
    CUdpPeer third(kLoopback, port);
    ASSERT_NE(third.endpoint, nullptr) << "free again once released";
    EXPECT_EQ(third.Port(), port);
    CUdpPeer elsewhere(0xc0000201);  // an address of nobody here
    EXPECT_EQ(elsewhere.endpoint, nullptr);
    EXPECT_EQ(CreateUdpClient(nullptr, 0), nullptr);
}

/// Where the endpoint can choose the address that it sends from.
class UdpSourceTest : public CUdpWayTest {};
INSTANTIATE_TEST_SUITE_P(Ways, UdpSourceTest, testing::ValuesIn(kAllWays, kAllWays + std::size(kAllWays) - 1), WayName);

TEST_P(UdpSourceTest, AnswersLeaveFromTheAddressThatWasAsked) {
    for (const bool fromAsked : {true, false}) {
        CUdpPeer server(0, 0, fromAsked);
        CUdpPeer clients[2];
        const uint32_t asked[] = {0x7f000001, 0x7f000002};
        for (int i = 0; i < 2; ++i) clients[i].Send("where", asked[i], server.Port());
        ASSERT_EQ(server.Take(2).size(), 2u);
        // In one batch, in turn: equal sizes to one host must not drag another's source along.
        server.endpoint->BeginBatch();
        for (int round = 0; round < 3; ++round) {
            for (CUdpPeer& client : clients) server.SendTo(client, "here");
        }
        for (int more = 0; more < 3; ++more) server.SendTo(clients[1], "here");
        server.endpoint->EndBatch();
        server.SendTo(clients[1], "here");
        for (int i = 0; i < 2; ++i) {
            const auto answers = clients[i].Take(i == 0 ? 3 : 7);
            EXPECT_EQ(answers.size(), i == 0 ? 3u : 7u);
            for (const auto& answer : answers) EXPECT_EQ(answer.ip, fromAsked ? asked[i] : kLoopback) << fromAsked;
        }
    }
}

}  // namespace
