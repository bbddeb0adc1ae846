#include "udp_peer.h"

#include "platform/lumonet/socket_address.h"

#include <algorithm>
#include <map>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

class UdpEndpointTest : public CUdpWayTest {};
INSTANTIATE_TEST_SUITE_P(Ways, UdpEndpointTest, testing::ValuesIn(kAllWays), WayName);

TEST_P(UdpEndpointTest, ABatchKeepsOrderBoundariesAndDestinationsHoweverLargeItIs) {
    using Sizes = std::vector<size_t>;
    const Sizes mixed{1070, 1070, 1070, 300, 1070, 1070, 1, 2, 3, 3, 3, 500, 400, 400, 400, 401, 1070, 9000, 9000, 20};
    Sizes manyAndAShorterOne(150, 100);
    manyAndAShorterOne[100] = 10;
    const struct {
        const char* what;
        Sizes sizes;
        size_t toSecond = 0;  // every so manieth
    } rows[] = {{"runs, shorter enders, growing sizes", mixed},
                {"the same with changes of destination", mixed, 3},
                {"every size", {1, 1, 2, 2, 1069, 1069, 1472, 1472, 1473, 1473, 8192, 8192, 32767, 32767}},
                {"the longest", {65000, 65506, 65507}},
                {"more bytes than are kept", Sizes(5, 60000)},
                {"more equal ones than a message carries", manyAndAShorterOne},
                {"more changes of destination than one call carries", Sizes(300, 20), 2}};
    CUdpPeer sender, first, second;
    for (const auto& row : rows) {
        for (const bool alone : {false, true}) {
            SCOPED_TRACE(row.what);
            Datagrams forFirst, forSecond;
            if (!alone) sender.endpoint->BeginBatch();
            for (size_t i = 0; i < row.sizes.size(); ++i) {
                const bool toSecond = row.toSecond > 0 && i % row.toSecond == 0;
                (toSecond ? forSecond : forFirst).push_back(Pattern(i, row.sizes[i]));
                sender.SendTo(toSecond ? second : first, Pattern(i, row.sizes[i]));
            }
            if (!alone) sender.endpoint->EndBatch();
            EXPECT_TRUE(first.TakeBytes(forFirst.size()) == forFirst);
            EXPECT_TRUE(second.TakeBytes(forSecond.size()) == forSecond);
        }
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
    receiver.Release();
    const auto after = GetUdpCounters();
    EXPECT_EQ(after.refused - before.refused, 11u);
    EXPECT_EQ(after.sent - before.sent, 7u);
    EXPECT_EQ(after.bytesSent - before.bytesSent, 1400u);
    EXPECT_EQ(after.received - before.received, 7u);
    EXPECT_EQ(after.bytesReceived - before.bytesReceived, 1400u);
}

TEST_P(UdpEndpointTest, BatchesNestByCountAndFlushLeavesThemOpen) {
    CUdpPeer sender, receiver;
    const auto before = GetUdpCounters().sent;
    const auto haveLeft = [&](uint64_t collected, uint64_t atOnce) {
        return GetUdpCounters().sent - before == (GetParam().collects ? collected : atOnce);
    };
    sender.endpoint->BeginBatch();
    sender.endpoint->BeginBatch();
    sender.SendTo(receiver, "one");
    sender.endpoint->EndBatch();
    EXPECT_TRUE(haveLeft(0, 1)) << "the outer level is still open";
    sender.SendTo(receiver, "two");
    sender.endpoint->FlushBatch();
    EXPECT_TRUE(haveLeft(2, 2));
    sender.SendTo(receiver, "three");
    EXPECT_TRUE(haveLeft(2, 3));
    sender.endpoint->EndBatch();
    EXPECT_TRUE(haveLeft(3, 3));
    sender.endpoint->EndBatch();
    sender.endpoint->FlushBatch();
    sender.SendTo(receiver, "an end without a begin changes nothing");
    EXPECT_TRUE(haveLeft(4, 4));
    EXPECT_EQ(receiver.TakeBytes(4), (Datagrams{"one", "two", "three", "an end without a begin changes nothing"}));
}

TEST_P(UdpEndpointTest, EachThreadHasABatchOfItsOwnForEachEndpoint) {
    constexpr size_t kThreads = 4, kEach = 40;
    CUdpPeer senders[2], receiver;
    std::vector<std::thread> threads;
    for (size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (CUdpPeer& sender : senders) sender.endpoint->BeginBatch();
            for (size_t i = 0; i < kEach; ++i) {
                for (CUdpPeer& sender : senders) sender.SendTo(receiver, std::to_string(t) + " " + std::to_string(i));
                if (i % 16 == 15) senders[1].endpoint->FlushBatch();
            }
            for (CUdpPeer& sender : senders) sender.endpoint->EndBatch();
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::map<std::pair<uint16_t, char>, size_t> next;
    for (const ReceivedDatagram& one : receiver.Take(2 * kThreads * kEach))
        EXPECT_EQ(one.bytes.substr(2), std::to_string(next[{one.port, one.bytes[0]}]++));
    EXPECT_EQ(next.size(), 2 * kThreads);
    for (const auto& [whose, count] : next) EXPECT_EQ(count, kEach) << whose.second;
}

TEST_P(UdpEndpointTest, ABatchLeftOpenHarmsNobody) {
    CUdpPeer receiver;
    const auto arrives = [&receiver](const std::string& what, size_t times) {
        while (times > 0) {
            const Datagrams bytes = receiver.TakeBytes(1);
            if (bytes.empty()) return false;
            times -= static_cast<size_t>(std::count(bytes.begin(), bytes.end(), what));
        }
        return true;
    };
    // More endpoints than a thread can have batches for, each ended by another thread while this one's batch is open.
    for (int i = 0; i < 20; ++i) {
        CUdpPeer sender, next;
        sender.endpoint->BeginBatch();
        sender.SendTo(receiver, "open");
        std::thread([&] { sender.Release(); }).join();
        next.SendTo(receiver, "next");
        ASSERT_TRUE(arrives("next", 1));
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
    EXPECT_TRUE(arrives("many", many.size()));
}

TEST_P(UdpEndpointTest, EmptyDatagramsAndACallbackThatThrowsCostNothingElse) {
    CUdpPeer receiver;
    CUdpPeer::Hooks hooks;
    hooks.datagram = [](const ReceivedDatagram& datagram) {
        if (datagram.bytes == "bad") throw std::runtime_error("application");
    };
    receiver.SetHooks(hooks);
    const CFileDescriptor raw = OpenSocket(SOCK_DGRAM);
    const sockaddr_in to = ToSocketAddress(kLoopback, receiver.Port());
    const auto send = [&](const std::string& bytes) {
        sendto(raw.Get(), bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    };
    for (int i = 0; i < 50; ++i) send("");
    for (const char* bytes : {"x", "", "bad", "y"}) send(bytes);
    EXPECT_EQ(receiver.TakeBytes(2), (Datagrams{"x", "y"}));
    EXPECT_LE(receiver.Bursts(), 3u) << "none of empty ones alone";
}

TEST_P(UdpEndpointTest, APortInUseIsRefused) {
    CUdpPeer first;
    const uint16_t port = first.Port();
    EXPECT_EQ(CUdpPeer(kLoopback, port).endpoint, nullptr);
    first.Release();
    CUdpPeer second(kLoopback, port);
    ASSERT_NE(second.endpoint, nullptr) << "free again once released";
    EXPECT_EQ(second.Port(), port);
    EXPECT_EQ(CUdpPeer(0xc0000201).endpoint, nullptr) << "an address of nobody here";
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
        for (const int i : {0, 1, 0, 1, 0, 1, 1, 1, 1}) server.SendTo(clients[i], "here");
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
