#include "platform/lumonet/asked_addresses.h"
#include "platform/lumonet/udp_arena.h"
#include "udp_peer.h"

#include <memory>
#include <random>

namespace {

struct Sent {
    uint32_t size;
    uint32_t ip = 1;
    uint16_t port = 1;
    uint32_t source = 0;
};

/// The counts of the runs that these datagrams make.
std::vector<int> RunsOf(const std::vector<Sent>& datagrams) {
    const auto arena = CUdpArena::Make();
    std::string all;
    for (const Sent& sent : datagrams) {
        const std::string bytes = Pattern(all.size(), sent.size);
        EXPECT_TRUE(arena->Add(bytes.data(), sent.size, sent.ip, sent.port, sent.source));
        all += bytes;
    }
    std::vector<int> counts;
    size_t number = 0;
    std::string found;
    for (const CUdpRun& run : arena->Runs()) {
        counts.push_back(run.count);
        for (uint32_t i = 0; i < run.count; ++i) EXPECT_EQ(run.SizeOf(i), datagrams[number++].size);
        found.append(arena->Bytes() + run.offset, run.length);
    }
    EXPECT_EQ(found, all);
    return counts;
}

TEST(UdpArenaTest, RunsAreWhatOneMessageCanCarry) {
    using Counts = std::vector<int>;
    EXPECT_EQ(RunsOf({{10}, {10}, {10}}), Counts{3});
    EXPECT_EQ(RunsOf({{10}, {10}, {4}, {4}, {10}}), (Counts{3, 1, 1})) << "a shorter one ends a run";
    EXPECT_EQ(RunsOf({{10}, {11}, {11}}), (Counts{1, 2})) << "a longer one begins a run";
    EXPECT_EQ(RunsOf({{10, 1, 1}, {10, 2, 1}, {10, 2, 2}, {10, 2, 2, 7}, {10, 2, 2, 7}}), (Counts{1, 1, 1, 2}));
    EXPECT_EQ(RunsOf(std::vector<Sent>(130, Sent{8})), (Counts{64, 64, 2}));
    EXPECT_EQ(RunsOf(std::vector<Sent>(3, Sent{30000})), (Counts{2, 1})) << "a message is shorter than 64 KiB";
}

TEST(UdpArenaTest, TakesNoMoreThanItHolds) {
    const auto arena = CUdpArena::Make();
    const std::string large(udp::kMaxDatagram, 'x');
    size_t taken = 0;
    while (arena->Add(large.data(), udp::kMaxDatagram, 1, 1, 0)) ++taken;
    EXPECT_EQ(taken, udp::kArenaBytes / udp::kMaxDatagram);
    arena->Clear();
    EXPECT_TRUE(arena->Runs().empty());
    taken = 0;
    while (arena->Add("x", 1, static_cast<uint32_t>(taken), 1, 0)) ++taken;
    EXPECT_EQ(taken, udp::kArenaRuns);
}

TEST(AskedAddressesTest, KnowsTheLastAddressAskedAndConfusesNobody) {
    const auto asked = std::make_unique<CAskedAddresses>();
    EXPECT_EQ(asked->Find(kLoopback, 5000), 0u);
    asked->Note(kLoopback, 5000, 0x0a000001);
    EXPECT_EQ(asked->Find(kLoopback, 5000), 0x0a000001u);
    asked->Note(kLoopback, 5000, 0x0a000002);
    EXPECT_EQ(asked->Find(kLoopback, 5000), 0x0a000002u);
    // Nobody else is taken for that host, however near.
    for (uint32_t port = 0; port < 65536; ++port) {
        if (port != 5000) {
            ASSERT_EQ(asked->Find(kLoopback, static_cast<uint16_t>(port)), 0u);
        }
        ASSERT_EQ(asked->Find(kLoopback + 1 + port, 5000), 0u);
    }
    // A hundred thousand hosts: each is found as it was noted or not at all, and most of the room is used.
    std::mt19937 random(7);
    std::vector<std::pair<uint32_t, uint16_t>> hosts;
    for (int i = 0; i < 100000; ++i) hosts.emplace_back(random(), static_cast<uint16_t>(random()));
    for (const auto& [ip, port] : hosts) asked->Note(ip, port, ip ^ port ^ 0x55aa);
    size_t found = 0;
    for (const auto& [ip, port] : hosts) {
        const uint32_t address = asked->Find(ip, port);
        if (address == 0) continue;
        ASSERT_EQ(address, ip ^ port ^ 0x55aa);
        ++found;
    }
    EXPECT_GT(found, 40000u);
}

}  // namespace
