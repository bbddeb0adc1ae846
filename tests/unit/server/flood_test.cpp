// Requests with forged addresses, and bytes that mean nothing.
#include "server/pages/process_status.h"
#include "server_host.h"
#include "support/medium_app.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

using session_wire::U32;

namespace {

constexpr int kHeaders = 28;

// The address sanitizer keeps what is freed, 256 MiB of it.
#if defined(__SANITIZE_ADDRESS__)
constexpr uint64_t kMostGrowth = (48 + 256) << 20;
#elif defined(__has_feature)
constexpr uint64_t kMostGrowth = (__has_feature(address_sanitizer) ? 48 + 256 : 48) << 20;
#else
constexpr uint64_t kMostGrowth = 48 << 20;
#endif

using Host = const CServerHost&;

/// A hundred thousand requests of one form, each from an address of its own.
struct FloodRow {
    const char* name;
    const CMediumRow& medium;
    std::string (*request)(Host host, uint32_t i);
};
void PrintTo(const FloodRow& one, std::ostream* out) { *out << one.name; }

const FloodRow kFloods[] = {
    {"Publishers", media::kVideo, [](Host host, uint32_t i) { return host.Claim(1000 + i, i); }},
    {"PublishersOfOneChannel", media::kFile, [](Host host, uint32_t i) { return host.Claim(1000, i); }},
    {"PublishersOfTheChannel", media::kAudio, [](Host host, uint32_t i) { return host.Claim(kChannel, i); }},
    {"Subscribers", media::kFile, [](Host host, uint32_t i) { return host.Request(100 + i); }},
    {"LongRequests", media::kDesktop, [](Host host, uint32_t i) { return host.LongRequest(100 + i, kChannel, {}); }},
    {"RelayRequests", media::kFile,
     [](Host host, uint32_t i) {
         return host.LongRequest(i, 1000 + i, {{0x7f000002 + i % 1000, 0, 0}, 0});
     }},
};

class Flood : public testing::TestWithParam<FloodRow> {};
TEST_P(Flood, LeavesMemoryFlatAndGainsNothing) {
    constexpr uint32_t kRequests = 100000;
    CServerHost host(GetParam().medium);
    const uint32_t sourceID = host.Publish();
    host.Subscribe(9, kBob);
    uint64_t resident = 0;
    std::map<uint32_t, int> bytes;
    int received = 0;
    size_t toFarServers = 0;
    for (uint32_t i = 0; i < kRequests; ++i) {
        const std::string request = GetParam().request(host, i);
        host.Deliver(request, {0x20000000 + i, 9});
        received = static_cast<int>(request.size()) + kHeaders;
        if (i % 500 == 0) host.RunFor(100);
        if (i % 20000 == 19999) {
            if (resident == 0) resident = ReadProcessStatus().residentBytes;
            host.RunFor(4000);
        }
        for (const CSentDatagram& one : host.net.Udp().TakeSent()) {
            if (one.ip >> 24 == 127) ++toFarServers;
            if (one.ip >> 24 == 0x20) bytes[one.ip] += static_cast<int>(one.bytes.size()) + kHeaders;
        }
    }
    for (const auto& entry : bytes) ASSERT_LE(entry.second, 3 * received) << entry.first;
    EXPECT_LE(toFarServers, server::kMaxPendingLegs * (host.clock.Now() - 1000000) / 1000);
    EXPECT_LE(host.Status().unvalidated, server::kMaxUnvalidated + server::kMaxClaims);
    EXPECT_LE(host.Status().channels, 1 + server::kMaxPendingLegs) << "claims make none";
    // Other than by what the test itself keeps of the traffic.
    EXPECT_LE(ReadProcessStatus().residentBytes, resident + kMostGrowth);
    EXPECT_LE(host.lines.size(), 2 + CServerLog::kRefusalsPerMinute) << "forged requests do not fill the log either";

    host.Say(host.row.source.frame, sourceID, kAlice, host.Wrapped(0, "goes on"));
    EXPECT_EQ(host.TakeCount(kBob, host.row.sink.frame), 1U);
    EXPECT_NE(host.Publish({0x0a000005, 1}, kChannel + 1), 0U);
    EXPECT_NE(host.Subscribe(7, {0x0a000006, 1}, kChannel + 1), 0U);
}
INSTANTIATE_TEST_SUITE_P(Rows, Flood, testing::ValuesIn(kFloods),
                         [](const auto& one) { return std::string(one.param.name); });

class AnyBytes : public testing::TestWithParam<CTestMedium>, protected CServerHost {
protected:
    AnyBytes() : CServerHost(GetParam().row) {}
};
TEST_P(AnyBytes, AreTaken) {
    std::string codes;
    for (const wire::CommandRow& command : wire::Commands())
        if (command.kind == row.kind) codes += static_cast<char>(command.code);
    const uint32_t source = row.board ? Subscribe(8, kAlice) : Publish(), sink = Subscribe(9, kBob);
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        std::string bytes(2 + random() % 64, '\0');
        for (char& byte : bytes) byte = static_cast<char>(random());
        if (i % 8 != 0) bytes[0] = static_cast<char>(row.kind);
        if (i % 4 != 0) bytes[1] = codes[random() % codes.size()];
        if (bytes.size() > 6 && i % 3 == 0) bytes.replace(2, 4, U32(i % 6 == 0 ? source : sink));
        const CEndpointAddress anybody{static_cast<uint32_t>(random()), 5};
        Deliver(bytes, i % 5 == 0 ? kAlice : i % 5 == 1 ? kBob : anybody);
        Validate(wire::TcpType{static_cast<uint32_t>(random() % 16)}, bytes);
        if (i % 100 == 0) RunFor(1100, 1100);
        net.Udp().TakeSent();
    }
    EXPECT_TRUE(row.board || Publish(kCarol, kChannel + 1) != 0);
    EXPECT_NE(Subscribe(12, kCarol, kChannel + 1), 0U);
}
INSTANTIATE_TEST_SUITE_P(Media, AnyBytes, testing::Values(kAudio, kVideo, kFile, kDesktop, kWhiteboard),
                         testing::PrintToStringParamName());

}  // namespace
