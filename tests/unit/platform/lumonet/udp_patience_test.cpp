#include "platform/lumonet/udp_patience.h"

#include "support/hand_clock.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::microseconds;

using CPatience = CBasicReceivePatience<CHandClock>;

struct CLooker {
    CPatience patience;
    int looks = 0;

    /// Looks that take that long each; the last one finds something.
    bool Try(int until, microseconds each = microseconds(10)) {
        looks = 0;
        return patience.Try([&] {
            CHandClock::s_now += each;
            return ++looks == until;
        });
    }
    void SleepFor(microseconds time) {
        CHandClock::s_now += time;
        patience.Slept();
    }
};

TEST(ReceivePatience, LooksOnlyWhileDatagramsFollowEachOtherClosely) {
    CLooker looker;
    EXPECT_FALSE(looker.Try(1));
    EXPECT_EQ(looker.looks, 0) << "at first it sleeps at once";
    looker.SleepFor(CPatience::kClose);
    EXPECT_TRUE(looker.Try(3));
    EXPECT_EQ(looker.looks, 3);
    EXPECT_FALSE(looker.Try(100));
    EXPECT_EQ(looker.looks, CPatience::kLook / microseconds(10)) << "patience has an end";
    looker.SleepFor(CPatience::kClose - CPatience::kLook);
    EXPECT_TRUE(looker.Try(1));
    EXPECT_FALSE(looker.Try(100));
    looker.SleepFor(CPatience::kClose - CPatience::kLook + microseconds(1));  // the look is part of the wait
    EXPECT_FALSE(looker.Try(1));
    EXPECT_EQ(looker.looks, 0);
}

TEST(ReceivePatience, SleepsForAWhileOnceGivingWayTookLongOrLooksFoundNothing) {
    CLooker looker;
    EXPECT_FALSE(looker.Try(1));
    looker.SleepFor(microseconds(1));
    const auto sleepsForAWhile = [&](int first) {
        for (int i = first; i < CPatience::kSleeps; ++i) {
            EXPECT_FALSE(looker.Try(1)) << i;
            looker.SleepFor(microseconds(1));
        }
    };
    EXPECT_TRUE(looker.Try(1, CPatience::kClose + microseconds(1)));
    sleepsForAWhile(1);
    EXPECT_TRUE(looker.Try(1));
    for (int i = 0; i < CPatience::kMisses; ++i) {
        EXPECT_FALSE(looker.Try(100));
        EXPECT_GT(looker.looks, 1);
        looker.SleepFor(microseconds(1));
    }
    sleepsForAWhile(1);
    EXPECT_TRUE(looker.Try(1));
}

}  // namespace
