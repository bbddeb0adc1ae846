#include "platform/lumonet/release_gate.h"

#include "support/stay.h"

#include <gtest/gtest.h>

#include <future>

namespace {

TEST(ReleaseGateTest, LetsNobodyInOnceReleasedAndDoesNotWaitFromInside) {
    CReleaseGate gate;
    {
        CGatePass pass(gate), again(gate);
        EXPECT_TRUE(pass && again && gate.IsInside()) << "its own thread may enter again";
        gate.Drain();
        EXPECT_TRUE(gate.Release());
        EXPECT_FALSE(gate.Enter()) << "not even deeper";
    }
    EXPECT_FALSE(gate.IsInside());
    EXPECT_FALSE(gate.Release()) << "only one call ends the object";
}

TEST(ReleaseGateTest, AReleaseTurnsAwayWhoWaitsToEnterAndWaitsForWhoIsInside) {
    CReleaseGate gate;
    CStay inside;
    auto first = std::async(std::launch::async, [&] {
        CGatePass pass(gate);
        inside.Stay();
    });
    inside.WaitUntilInside();
    auto second = std::async(std::launch::async, [&] { return gate.Enter(); });
    auto release = std::async(std::launch::async, [&] { return gate.Release() && inside.HasLeft(); });
    EXPECT_FALSE(second.get()) << "while the first is still inside";
    EXPECT_FALSE(inside.HasLeft());
    inside.LetGo();
    EXPECT_TRUE(release.get());
}

}  // namespace
