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
    for (const Sent& sent : datagrams)
        EXPECT_TRUE(arena->Add(std::string(sent.size, 'x').data(), sent.size, sent.ip, sent.port, sent.source));
    std::vector<int> counts;
    for (const CUdpRun& run : arena->Runs()) counts.push_back(run.count);
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

TEST(AskedAddressesTest, KnowsTheLastAddressAskedAndConfusesNobody) {
    const auto asked = std::make_unique<CAskedAddresses>();
    EXPECT_EQ(asked->Find(kLoopback, 5000), 0u);
    asked->Note(kLoopback, 5000, 0x0a000001);
    EXPECT_EQ(asked->Find(kLoopback, 5000), 0x0a000001u);
    asked->Note(kLoopback, 5000, 0x0a000002);
    EXPECT_EQ(asked->Find(kLoopback, 5000), 0x0a000002u);
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
