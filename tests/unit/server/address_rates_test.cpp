// What a server sends to one address.
#include "server/address_rates.h"
#include "support/virtual_clock.h"

#include <gtest/gtest.h>

namespace {

constexpr uint32_t kOne = 0x0A000001, kOther = 0x0A000002, kTrusted = 0x7F000001;

int Sent(CAddressRates& rates, uint32_t ip, int tries) {
    int sent = 0;
    for (int i = 0; i < tries; ++i) sent += rates.Admits(ip, 1000 - 28);
    return sent;
}

TEST(AddressRates, BoundEachAddressAndNobodyWhoIsTrusted) {
    CVirtualClock clock;
    CAddressRates rates(100000, {{kTrusted, 8}});
    EXPECT_EQ(Sent(rates, kOne, 100), 25) << "a quarter of a second at once";
    EXPECT_EQ(Sent(rates, kOther, 100), 25);
    EXPECT_EQ(Sent(rates, kTrusted, 1000), 1000);
    EXPECT_EQ(rates.Dropped(), 150U);
    int sent = 0;
    for (int i = 0; i < 100; ++i) {
        clock.Advance(10);
        sent += Sent(rates, kOne, 10);
    }
    EXPECT_EQ(sent, 100);
    rates.OnSecond();  // forgets the other, whose bucket is full
    EXPECT_EQ(Sent(rates, kOther, 100), 25);
}

TEST(AddressRates, WithoutOneEverythingLeaves) {
    CAddressRates rates(0, {});
    EXPECT_EQ(Sent(rates, kOne, 100000), 100000);
    EXPECT_EQ(rates.Dropped(), 0U);
}

}  // namespace
