// What a load test counts.
#include "tools/lumo/load/load.h"

#include <gtest/gtest.h>

#include <sys/socket.h>

#include <netinet/in.h>
#include <unistd.h>

using namespace lumo;

namespace {

TEST(Load, PercentilesAreExactToASixtyFourth) {
    CHistogram none;
    EXPECT_EQ(none.Percentile(0.5), 0U);
    CHistogram even;
    for (uint32_t value = 1; value <= 100000; ++value) even.Add(value);
    for (const double share : {0.001, 0.5, 0.9, 0.99, 1.0}) {
        const double wanted = share * 100000;
        EXPECT_LE(even.Percentile(share), wanted) << share;
        EXPECT_GE(even.Percentile(share), wanted * 63 / 64) << share;
    }
    even.Add(UINT32_MAX);
    EXPECT_EQ(even.Most(), UINT32_MAX);
    EXPECT_GE(even.Percentile(1), UINT32_MAX / 64 * 63);
}

TEST(Load, EveryFrameCountsOnceForEachSubscriber) {
    CLoadMeter meter(3, 100);
    const auto hear = [&meter](uint32_t subscriber, uint32_t number, uint64_t sentUs, uint64_t cameUs) {
        std::string frame(160, 'x');
        CLoadMeter::Stamp(frame, 3, number, sentUs);
        EXPECT_EQ(frame.size(), 160U);
        meter.OnFrame(subscriber, frame.data() + 3, static_cast<int>(frame.size()) - 3, cameUs);
    };
    std::string one(160, 'x');
    CLoadMeter::Stamp(one, 0, 0, 5);
    EXPECT_TRUE(CLoadMeter::IsGreeting(one));
    CLoadMeter::Stamp(one, 0, 1, 5);
    EXPECT_FALSE(CLoadMeter::IsGreeting(one) || CLoadMeter::IsGreeting(std::string(160, '\0')));
    hear(0, 0, 5, 9);
    hear(1, 0, 5, 9);
    EXPECT_EQ(meter.Hearing(), 2U);
    EXPECT_EQ(meter.Arrived(), 0U);
    for (uint32_t number = 1; number <= 100; ++number) hear(0, number, 1000, 3000);
    hear(0, 64, 1000, 9000);  // twice
    hear(0, 101, 1000, 9000);
    hear(1, 100, 4000, 1000);  // no clock goes back, but nothing here relies on it
    for (const std::string& foreign : {std::string("LOAD"), std::string(160, 'x'), std::string()})
        meter.OnFrame(2, foreign.data(), static_cast<int>(foreign.size()), 1);
    EXPECT_EQ(meter.Hearing(), 2U);
    const LoadReport report = meter.Report(100);
    EXPECT_EQ(report.arrived, 101U);
    EXPECT_EQ(report.repeated, 1U);
    EXPECT_EQ(report.unlucky, 2U);
    EXPECT_NEAR(report.p50Ms, 2, 2.0 / 64);
    EXPECT_EQ(report.mostMs, 2);
}

TEST(Load, TheKernelTellsWhatAFullSocketDropped) {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in here{};
    here.sin_family = AF_INET;
    here.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof here;
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&here), sizeof here), 0);
    getsockname(fd, reinterpret_cast<sockaddr*>(&here), &length);
    EXPECT_EQ(DatagramsDropped(ntohs(here.sin_port)), 0U);
    const std::string datagram(1000, 'x');
    for (int i = 0; i < 10000; ++i)
        sendto(fd, datagram.data(), datagram.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&here), sizeof here);
    EXPECT_GT(DatagramsDropped(ntohs(here.sin_port)), 0U);
    close(fd);
}

}  // namespace
