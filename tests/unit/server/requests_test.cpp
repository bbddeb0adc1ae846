// The processor time that strangers' requests get.
#include "server/requests.h"
#include "support/session_wire.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

#include <vector>

using session_wire::U32;

namespace {

constexpr CEndpointAddress kFlooder{0x0a000001, 1};
constexpr CEndpointAddress kHonest{0x0a000002, 1};

struct RequestsTest : testing::Test {
    void Add(const CEndpointAddress& address, int times) {
        const std::string claim = Hex("0640") + U32(5) + U32(7);
        for (int i = 0; i < times; ++i)
            EXPECT_TRUE(requests.Add(claim.data(), static_cast<int>(claim.size()), address));
    }
    /// Each costs a millisecond. Gives who was served, in turn.
    std::vector<CEndpointAddress> EndBurst() {
        std::vector<CEndpointAddress> served;
        requests.OnBurstEnd([&](const char*, int, const CEndpointAddress& address) {
            served.push_back(address);
            clock.Advance(1);
        });
        return served;
    }

    CVirtualClock clock;
    CRequests requests{{}};
};

TEST_F(RequestsTest, WhoAsksSeldomIsServedInTheMiddleOfAFlood) {
    Add(kFlooder, 100);
    Add(kHonest, 1);
    const std::vector<CEndpointAddress> served = EndBurst();
    ASSERT_EQ(served.size(), 16U + 2 * CRequests::kSlice) << "half of what is saved is for those who ask seldom";
    EXPECT_EQ(served[CRequests::kSeldom - 1], kHonest) << "before those that the flooder asks too often";
    EXPECT_EQ(requests.Dropped(), 101 - served.size());
    Add(kFlooder, 10);
    Add(kHonest, 1);
    EXPECT_EQ(EndBurst(), std::vector{kHonest});
    clock.Advance(1000);
    Add(kFlooder, 1);
    EXPECT_EQ(EndBurst(), std::vector{kFlooder}) << "a second later";
}

TEST_F(RequestsTest, TheThreadRestsLongerWhileNothingElseComes) {
    const auto flood = [this](bool others) {
        Add(kFlooder, 200);
        const std::string keepAlive = Hex("0645") + U32(9);
        if (others) requests.Add(keepAlive.data(), static_cast<int>(keepAlive.size()), kHonest);
        EndBurst();
        return requests.Rest();
    };
    EXPECT_EQ(flood(true), CRequests::kRestUs);
    EXPECT_EQ(flood(false), 2 * CRequests::kRestUs);
    for (int i = 0; i < 10; ++i) flood(false);
    EXPECT_EQ(flood(false), CRequests::kLongestRestUs);
    EXPECT_EQ(flood(true), CRequests::kRestUs);
    EXPECT_EQ(requests.Rest(), 0U) << "nothing was dropped since";
    EXPECT_EQ(flood(false), 2 * CRequests::kRestUs) << "a burst without loss does not count";
}

}  // namespace
