#include "platform/lumobase/crit_sec.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Steps: a positive number takes the lock of that index plus one, a negative one gives it back.
void Walk(const std::vector<int>& steps) LUMO_NO_THREAD_SAFETY_ANALYSIS {
    CCritSec none(0), outer(100), middle(200), middle2(200), inner(300);
    CCritSec* const locks[] = {&none, &outer, &middle, &middle2, &inner};
    for (const int step : steps) step > 0 ? locks[step - 1]->Lock() : locks[-step - 1]->Unlock();
}

TEST(CritSecTest, TheOrderAllowsWhatCannotDeadlock) {
    Walk({2, 3, 5, -5, -3, -2});  // outermost first
    Walk({2, 3, 2, -2, -3, -2});  // held already
    Walk({3, 4, -3, -4});         // equal ranks
    Walk({5, 1, -1, -5});         // no rank, no part
    Walk({2, 5, -2, -5, 2, -2});  // given back out of order
    Walk({5, -5, 2, -2, 3, -3});
}

#ifndef NDEBUG
TEST(CritSecDeathTest, ABrokenOrderIsSaidAndEndsTheProcess) {
    EXPECT_DEATH(Walk({3, 2}), "rank 100 taken while rank 200 is held");
    EXPECT_DEATH(Walk({2, 5, 3}), "rank 200 taken while rank 300 is held");
    EXPECT_DEATH(Walk({2, 5, 2, -2, 4}), "rank 200 taken while rank 300 is held");
    EXPECT_DEATH(Walk({3, 5, -3, 2}), "rank 100 taken while rank 300 is held");
}
#endif

}  // namespace
