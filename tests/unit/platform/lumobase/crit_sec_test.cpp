#include "platform/lumobase/crit_sec.h"

#include <gtest/gtest.h>

#include <future>
#include <vector>

namespace {

// Steps: a positive number takes the lock of that index plus one, a negative one gives it back.
const int kRanks[] = {0, 100, 200, 200, 300};

void Walk(const std::vector<int>& steps) LUMO_NO_THREAD_SAFETY_ANALYSIS {
    CCritSec none(kRanks[0]), outer(kRanks[1]), middle(kRanks[2]), middle2(kRanks[3]), inner(kRanks[4]);
    CCritSec* const locks[] = {&none, &outer, &middle, &middle2, &inner};
    for (const int step : steps) {
        if (step > 0) {
            locks[step - 1]->Lock();
        } else {
            locks[-step - 1]->Unlock();
        }
    }
}

TEST(CritSecTest, IsReentrantForItsHolderAlone) {
    CCritSec cs;
    const auto tryElsewhere = [&cs]() LUMO_NO_THREAD_SAFETY_ANALYSIS {
        return std::async(std::launch::async,
                          [&cs]() LUMO_NO_THREAD_SAFETY_ANALYSIS {
                              const bool taken = cs.TryLock();
                              if (taken) cs.Unlock();
                              return taken;
                          })
            .get();
    };
    {
        CAutoLock outer(&cs);
        [&cs]() LUMO_NO_THREAD_SAFETY_ANALYSIS {
            CAutoLock again(&cs);
            EXPECT_TRUE(cs.TryLock());
            cs.Unlock();
        }();
        EXPECT_FALSE(tryElsewhere()) << "given back too early";
    }
    EXPECT_TRUE(tryElsewhere());
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
