// A sender with two channels: who is served where, and what moving from one to the other costs.
#include "unit/tools/transfer_sim.h"

#include <gtest/gtest.h>

using namespace lumo;
using sim::CTransferSim;
using sim::MemoryDisk;

namespace {

constexpr size_t kFile = 16 * 1024 * 1024;

class TransferLanes : public sim::CTransferTest {
protected:
    TransferLanes() { sim.twoLanes = true; }

    void Start(uint32_t receivers) { sim.StartSender(sim::One(sim::Megabytes(16)), sim::Wanted(receivers)); }
    bool WaitForBytes(CTransferSim::Receiver& receiver, uint64_t bytes) {
        return sim.RunUntil([&] { return receiver.engine.Progress().heldBytes >= bytes; }, 60000);
    }
    static bool IsWhole(MemoryDisk& disk) { return disk.files["file"] == sim::Megabytes(16); }
};

TEST_F(TransferLanes, EachLaneCarriesOnlyWhatItsOwnReceiversLack) {
    MemoryDisk here, there;
    Start(2);
    sim.AddReceiver(here);
    sim.MoveTo(sim.AddReceiver(there), 1);
    ASSERT_TRUE(sim.RunToEnd(20000));
    EXPECT_TRUE(IsWhole(here));
    EXPECT_TRUE(IsWhole(there));
    EXPECT_EQ(sim.SenderProgress().completeByLane, (std::array<uint32_t, kMaxLanes>{1, 1}));
    for (const size_t lane : {0U, 1U}) EXPECT_EQ(sim.BlocksLeft(lane), BlocksOf(kFile)) << lane;
}

// The one that moves meets a lane whose count is far from its own, in both directions.
TEST_F(TransferLanes, WhoMovesKeepsWhatItHasAndCostsNobodyElse) {
    MemoryDisk staying, moving;
    Start(2);
    sim.MoveTo(sim.AddReceiver(staying, 0.1), 1);
    auto& mover = sim.AddReceiver(moving, 0.1);
    uint64_t held = 0;
    for (const size_t lane : {1U, 0U, 1U, 0U}) {
        ASSERT_TRUE(WaitForBytes(mover, held + kFile / 8));
        held = mover.engine.Progress().heldBytes;
        sim.MoveTo(mover, lane);
        sim.Run(1);
        EXPECT_EQ(mover.engine.Progress().heldBytes, held);
    }
    ASSERT_TRUE(sim.RunToEnd(60000));
    EXPECT_TRUE(IsWhole(staying));
    EXPECT_TRUE(IsWhole(moving));
    // What was on its way at a move goes again, no more: one lead for each.
    EXPECT_LE(sim.BlocksLeft(), 2 * BlocksOf(kFile) + 4 * kLeadBlocks);
}

// From a lane that has carried much to one that has carried nothing: the old count must mean nothing there.
TEST_F(TransferLanes, AnUnusedLaneCountsFromTheBeginning) {
    MemoryDisk earlier, moving;
    Start(2);
    sim.AddReceiver(earlier);
    ASSERT_TRUE(sim.RunUntil([&] { return IsWhole(earlier); }, 20000));
    auto& mover = sim.AddReceiver(moving, 0.1);
    ASSERT_TRUE(WaitForBytes(mover, kFile / 8));
    const uint64_t held = mover.engine.Progress().heldBytes;
    sim.MoveTo(mover, 1);
    ASSERT_TRUE(sim.RunToEnd(60000));
    EXPECT_TRUE(IsWhole(moving));
    EXPECT_EQ(sim.BlocksLeft(1), BlocksOf(kFile - held)) << "each block that it lacked, once";
    EXPECT_LE(sim.MostWaitingBytes(), (kLeadBlocks + 8) * (size_t{kBlockSize} + kBlockHeaderLength));
}

TEST_F(TransferLanes, AReportThatComesLateByTheOldLaneOnlyCostsTime) {
    Start(1);
    auto& receiver = sim.AddReceiver(disk, 0.2);
    ASSERT_TRUE(WaitForBytes(receiver, kFile / 4));
    sim.MoveTo(receiver, 1);
    ASSERT_TRUE(WaitForBytes(receiver, kFile / 2));
    Status status;
    status.receiver = 100;  // the first of a simulation
    status.serial = 1U << 20;
    status.state = ReceiverState::Receiving;
    status.offers = 1;
    status.lacking = {{0, BlocksOf(kFile)}};
    sim.InjectUp(Encode({7000, status}), 0);
    ASSERT_TRUE(sim.RunToEnd(30000));
    EXPECT_TRUE(IsWhole(disk));
    EXPECT_EQ(sim.SenderProgress().completeByLane, (std::array<uint32_t, kMaxLanes>{0, 1}));
}

TEST_F(TransferLanes, ADeadLaneHoldsNobodyOnTheOtherOne) {
    MemoryDisk gone, alive;
    Start(1);
    auto& victim = sim.AddReceiver(gone, 0.2);
    sim.MoveTo(victim, 1);
    ASSERT_TRUE(WaitForBytes(victim, kFile / 4));
    sim.Kill(victim);
    sim.AddReceiver(alive);
    EXPECT_TRUE(sim.RunUntil([&] { return IsWhole(alive); }, 3000)) << "before the dead one counts as silent";
}

}  // namespace
