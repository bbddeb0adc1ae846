#include "platform/lumonet/udp_patience.h"

#include <gtest/gtest.h>

namespace {

using Clock = CReceivePatience::Clock;

TEST(ReceivePatience, LooksOnlyWhileDatagramsFollowEachOtherClosely) {
    CReceivePatience patience;
    int looks = 0;
    const auto never = [&] { return ++looks, false; };
    EXPECT_FALSE(patience.Try(never));
    EXPECT_EQ(looks, 0) << "at first it sleeps at once";

    const auto begun = Clock::now();
    EXPECT_FALSE(patience.Try(never));
    patience.SleptUntil(begun + CReceivePatience::kClose);
    EXPECT_TRUE(patience.IsPatient());
    EXPECT_TRUE(patience.Try([&] { return ++looks, true; }));
    EXPECT_EQ(looks, 1);

    const auto before = Clock::now();
    EXPECT_FALSE(patience.Try(never)) << "patience has an end";
    EXPECT_GT(looks, 1);
    EXPECT_GE(Clock::now() - before, CReceivePatience::kLook);
    patience.SleptUntil(Clock::now() + 2 * CReceivePatience::kClose);
    EXPECT_FALSE(patience.IsPatient()) << "the look is part of the wait";
    looks = 0;
    EXPECT_FALSE(patience.Try(never));
    EXPECT_EQ(looks, 0);
}

}  // namespace
