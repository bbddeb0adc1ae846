// Requests with forged addresses, and bytes that mean nothing.
#include "server/pages/process_status.h"
#include "server_host.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <random>

using session_wire::U32;

namespace {

constexpr uint32_t kChannel = 77;
constexpr CEndpointAddress kAlice{0x0a000001, 1001};
constexpr CEndpointAddress kBob{0x0a000002, 1002};
constexpr int kHeaders = 28;

// The address sanitizer keeps what is freed, 256 MiB of it.
#if defined(__SANITIZE_ADDRESS__)
constexpr uint64_t kMostGrowth = (48 + 256) << 20;
#elif defined(__has_feature)
constexpr uint64_t kMostGrowth = (__has_feature(address_sanitizer) ? 48 + 256 : 48) << 20;
#else
constexpr uint64_t kMostGrowth = 48 << 20;
#endif

/// A hundred thousand requests of one form, each from an address of its own.
struct FloodRow {
    const char* name;
    std::function<std::string(uint32_t)> request;
};
class Flood : public testing::TestWithParam<FloodRow> {};
TEST_P(Flood, LeavesMemoryFlatAndGainsNothing) {
    constexpr uint32_t kRequests = 100000;
    CServerHost host;
    const uint32_t sourceID = host.Publish(kChannel, 5, kAlice);
    host.Subscribe(kChannel, 9, kBob);
    uint64_t resident = 0;
    std::map<uint32_t, int> bytes;
    int received = 0;
    size_t toFarServers = 0;
    for (uint32_t i = 0; i < kRequests; ++i) {
        const std::string request = GetParam().request(i);
        host.Deliver(request, {0x20000000 + i, 9});
        received = static_cast<int>(request.size()) + kHeaders;
        if (i % 500 == 0) host.Run(100);
        if (i % 20000 == 19999) {
            if (resident == 0) resident = ReadProcessStatus().residentBytes;
            host.Run(4000);
        }
        for (const CSentDatagram& one : host.net.Udp().TakeSent()) {
            if (one.ip >> 24 == 127) ++toFarServers;
            if (one.ip >> 24 == 0x20) bytes[one.ip] += static_cast<int>(one.bytes.size()) + kHeaders;
        }
    }
    for (const auto& entry : bytes) ASSERT_LE(entry.second, 3 * received) << entry.first;
    EXPECT_LE(toFarServers, server::kMaxPendingLegs * (host.clock.Now() - 1000000) / 1000);
    const CMediumStatus medium = host.server->Media()[0];
    EXPECT_LE(medium.unvalidated, server::kMaxUnvalidated + server::kMaxClaims);
    EXPECT_LE(medium.channels, 10000U);
    // Other than by what the test itself keeps of the traffic.
    EXPECT_LE(ReadProcessStatus().residentBytes, resident + kMostGrowth);
    EXPECT_EQ(host.lines.size(), 2U) << "forged requests do not fill the log either";

    host.Deliver(CServerHost::Command("42", sourceID, session_wire::Data(0, "goes on")), kAlice);
    EXPECT_EQ(host.TakeCount(kBob, "063d"), 1U);
    EXPECT_NE(host.Publish(kChannel + 1, 6, {0x0a000005, 1}), 0U);
    EXPECT_NE(host.Subscribe(kChannel + 1, 7, {0x0a000006, 1}), 0U);
}
INSTANTIATE_TEST_SUITE_P(
    Rows, Flood,
    testing::Values(FloodRow{"Publishers", [](uint32_t i) { return CServerHost::SourceConnect(1000 + i, i); }},
                    FloodRow{"PublishersOfOneChannel", [](uint32_t i) { return CServerHost::SourceConnect(1000, i); }},
                    FloodRow{"Subscribers", [](uint32_t i) { return CServerHost::SinkConnect(100 + i, kChannel); }},
                    FloodRow{"LongRequests", [](uint32_t i) { return CServerHost::LongConnect(100 + i, kChannel, 0); }},
                    FloodRow{
                        "RelayRequests",
                        [](uint32_t i) { return CServerHost::LongConnect(100 + i, 1000 + i, 0x7f000002 + i % 1000); }}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(Flood, ClaimsAndRequestsForThemMakeNoChannels) {
    CServerOptions options = CServerHost::LoopbackOptions();
    options.limits.channels = 2;
    CServerHost host(options);
    for (uint32_t i = 0; i < 5000; ++i) {
        host.Deliver(CServerHost::SourceConnect(1000 + i, i), {0x20000000 + i, 9});
        host.Deliver(CServerHost::SinkConnect(i, 1000 + i), {0x20000000 + i, 9});
        host.clock.Advance(1);
    }
    EXPECT_EQ(host.server->Media()[0].channels, 0U);
    EXPECT_NE(host.Publish(kChannel, 6, kAlice), 0U);
    bool kept = false;
    host.Validate(12, U32(kChannel + 1), &kept);
    EXPECT_TRUE(kept);
    EXPECT_EQ(host.Publish(kChannel + 2, 6, kAlice), 0U) << "no channel is left";
}

TEST(Flood, AnyBytesAreTaken) {
    CServerHost host;
    const uint32_t sourceID = host.Publish(kChannel, 5, kAlice);
    const uint32_t sinkID = host.Subscribe(kChannel, 9, kBob);
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        std::string bytes(random() % 64, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        if (bytes.size() > 1 && i % 4 != 0) bytes[0] = 6;
        if (bytes.size() > 1 && i % 2 != 0) bytes[1] = static_cast<char>(0x39 + random() % 14);
        if (bytes.size() > 6 && i % 3 == 0) bytes.replace(2, 4, U32(i % 6 == 0 ? sourceID : sinkID));
        if (!bytes.empty())
            host.Deliver(bytes, i % 5 == 0 ? kAlice : CEndpointAddress{static_cast<uint32_t>(random()), 5});
        host.Validate(static_cast<uint32_t>(random() % 16), bytes);
        if (i % 100 == 0) host.Run(1100, 1100);
        host.net.Udp().TakeSent();
    }
    EXPECT_NE(host.Publish(kChannel + 1, 6, kBob), 0U);
}

}  // namespace
