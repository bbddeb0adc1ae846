// Sender and receivers together: how a transfer ends, who hears of it, and what two channels of a sender carry.
#include "unit/tools/transfer_sim.h"

using namespace sim;

namespace {

TEST(TransferEnds, WhatNeverComesRightEndsInAClearFailureAndTheOthersDoNotSuffer) {
    for (const bool everyBlock : {true, false}) {  // or the hash of one file
        CTransferSim sim;
        sim.downHook = [&](std::string& frame) {
            if (everyBlock && frame.size() > kBlockSize) frame.back() = static_cast<char>(frame.back() + 1);
            return true;
        };
        Files files = One(Megabytes(1), "lie", !everyBlock);
        files.push_back(std::make_unique<CMemorySource>("file", Megabytes(2)));
        sim.StartSender(std::move(files), {.waitMs = 1000});
        const Receiver& receiver = sim.AddReceiver();
        ASSERT_TRUE(sim.RunToEnd(30000));
        EXPECT_EQ(receiver.engine.State(), ReceiveState::Failed);
        EXPECT_EQ(receiver.engine.Problem(), everyBlock ? "too many blocks arrive damaged"
                                                        : "lie: what the sender sends does not match its SHA-256");
        EXPECT_EQ(sim.sender->State(), SendState::Failed);
        EXPECT_EQ(sim.Progress().lastFailure, Failure::Damaged);
        EXPECT_EQ(receiver.disk.files.count("lie"), 0U);
        EXPECT_EQ(receiver.Has(Megabytes(2)), !everyBlock);
    }
}

TEST(TransferEnds, WhatDoesNotFitIsToldBeforeTheFirstByte) {
    const struct {
        const char* what;
        uint64_t freeBytes;
        bool half;  // the first file is there, of an earlier attempt
        bool fits;
    } rows[] = {
        {"all of it", 3 << 20, false, true}, {"each alone", 2 << 20, false, false}, {"the rest", 2 << 20, true, true}};
    for (const auto& row : rows) {
        CTransferSim sim;
        Files files = One(Megabytes(1), "one");
        files.push_back(std::make_unique<CMemorySource>("two", Megabytes(2)));
        sim.StartSender(std::move(files), {.waitMs = 1000});
        const Receiver& receiver = sim.AddReceiver();
        receiver.disk.freeBytes = row.freeBytes;
        if (row.half) {
            MemoryDisk::Part& part = receiver.disk.parts[DigestOf(Megabytes(1))];
            part = {Megabytes(1), CBlockMap(16)};
            for (uint32_t block = 0; block < 16; ++block) part.held.Set(block);
        }
        ASSERT_TRUE(sim.RunToEnd(10000)) << row.what;
        EXPECT_EQ(receiver.engine.State(), row.fits ? ReceiveState::Done : ReceiveState::Failed) << row.what;
        EXPECT_EQ(receiver.disk.files.size(), row.fits ? 2U : 0U) << row.what;
        if (row.fits) continue;
        EXPECT_EQ(receiver.engine.Problem(), "there is no room: 3145728 bytes are to come and 2097152 are free");
        EXPECT_EQ(sim.Progress().lastFailure, Failure::NoSpace);
        EXPECT_EQ(sim.blocksLeft[0], 0U);
    }
}

TEST(TransferEnds, WhoDeliversIsCompleteOnlyWhenItIsOut) {
    for (const bool works : {true, false}) {
        for (const bool senderStays : {true, false}) {
            CTransferSim sim;
            sim.StartSender(One(Megabytes(1)));
            Receiver& receiver = sim.AddReceiver(40, 3000);
            StoreStep step = StoreStep::More;
            receiver.engine.DeliverBy([&](const std::vector<IncomingFile>& files, std::string& problem) {
                EXPECT_EQ(files.size(), 1U);
                problem = step == StoreStep::Broken ? "nobody reads" : "";
                return step;
            });
            sim.Run(20000);
            EXPECT_EQ(receiver.engine.State(), ReceiveState::Delivering);
            EXPECT_EQ(sim.sender->State(), SendState::Serving) << "it must not believe that all is done";
            EXPECT_EQ(sim.Progress().alive, 1U) << "a reader that is slow costs no heartbeat";
            if (!senderStays) sim.StartSender({});
            sim.Run(5000);
            step = works ? StoreStep::Good : StoreStep::Broken;
            ASSERT_TRUE(sim.RunUntil([&] { return receiver.left; }, kConfirmWaitMs + 1000));
            EXPECT_EQ(receiver.engine.State(), works ? ReceiveState::Done : ReceiveState::Failed);
            EXPECT_EQ(receiver.engine.Problem(), works ? "" : "nobody reads");
            EXPECT_EQ(sim.Progress().complete, works && senderStays ? 1U : 0U);
        }
    }
}

TEST(TransferEnds, WhoIsNotToldHowManyWillComeStaysForLateOnes) {
    CTransferSim sim;
    sim.StartSender(One(Megabytes(1)), {.receivers = 0});
    for (const uint32_t served : {1U, 2U}) {
        const Receiver& receiver = sim.AddReceiver();
        ASSERT_TRUE(sim.RunUntil([&] { return receiver.left; }, 10000));
        EXPECT_EQ(receiver.engine.State(), ReceiveState::Done);
        sim.Run(50000);
        EXPECT_EQ(sim.sender->State(), SendState::Serving);
        EXPECT_EQ(sim.Progress().complete, served);
        EXPECT_NEAR(static_cast<double>(sim.Progress().stayMs.value_or(0)), 10000, 2000);
    }
    sim.Run(12000);
    EXPECT_EQ(sim.sender->State(), SendState::Done);
}

TEST(TransferEnds, ALostConfirmationOnlyCostsTime) {
    CTransferSim sim;
    sim.downHook = [](std::string& frame) { return frame[5] != static_cast<char>(MessageType::Confirm); };
    sim.StartSender(One(Megabytes(1)), {.receivers = 2});
    const Receiver& receiver = sim.AddReceiver();
    ASSERT_TRUE(sim.RunUntil([&] { return receiver.left; }, kConfirmWaitMs + 3000));
    EXPECT_EQ(receiver.engine.State(), ReceiveState::Done);
    EXPECT_EQ(sim.Progress().complete, 1U);
}

TEST(TransferEnds, WhoWaitsInVainSaysSo) {
    CTransferSim alone, sim;
    alone.StartSender(One("x"), {.waitMs = 5000});
    ASSERT_TRUE(alone.RunToEnd(5300));
    EXPECT_EQ(alone.sender->State(), SendState::NobodyThere);

    const Receiver& first = sim.AddReceiver(40, 3000);
    ASSERT_TRUE(sim.RunUntil([&] { return first.left; }, 3200));
    EXPECT_EQ(first.engine.State(), ReceiveState::NobodyThere);
    sim.StartSender(One(Megabytes(8)));
    const Receiver& second = sim.AddReceiver(0.1, 3000);
    ASSERT_TRUE(sim.WaitForBytes(second, 1));
    sim.CutAll(100000);
    ASSERT_TRUE(sim.RunUntil([&] { return second.left; }, 3200));
    EXPECT_EQ(second.engine.State(), ReceiveState::Failed) << "it had begun";
}

TEST(TransferEnds, AReceiversGoodbyeEndsTheWaitingForIt) {
    CTransferSim sim;
    sim.StartSender(One(Megabytes(8)));
    Receiver& receiver = sim.AddReceiver(0.1);
    ASSERT_TRUE(sim.WaitForBytes(receiver, 1));
    EXPECT_EQ(sim.Progress().unfinished, 1U);
    receiver.engine.Leave(receiver.up, ByeReason::Interrupted);
    sim.Run(10);
    EXPECT_EQ(sim.Progress().alive, 0U);
}

constexpr size_t kFile = 16 << 20;

class TransferLanes : public ::testing::Test {
protected:
    void Start(uint32_t receivers) {
        sim.twoLanes = true;
        sim.StartSender(One(Megabytes(16)), {.receivers = receivers});
    }
    static bool IsWhole(const Receiver& receiver) { return receiver.Has(Megabytes(16)); }

    CTransferSim sim;
};

TEST_F(TransferLanes, EachLaneCarriesOnlyWhatItsOwnReceiversLack) {
    Start(2);
    Receiver &here = sim.AddReceiver(), &there = sim.AddReceiver();
    there.MoveTo(1);
    ASSERT_TRUE(sim.RunToEnd(20000));
    EXPECT_TRUE(IsWhole(here) && IsWhole(there));
    EXPECT_EQ(sim.Progress().completeByLane, (std::array<uint32_t, kMaxLanes>{1, 1}));
    EXPECT_EQ(sim.blocksLeft, (std::array<uint64_t, kMaxLanes>{BlocksOf(kFile), BlocksOf(kFile)}));
}

// The one that moves meets a lane whose count is far from its own, in both directions.
TEST_F(TransferLanes, WhoMovesKeepsWhatItHasAndCostsNobodyElse) {
    Start(2);
    Receiver &staying = sim.AddReceiver(0.1), &mover = sim.AddReceiver(0.1);
    staying.MoveTo(1);
    for (const size_t lane : {1U, 0U, 1U, 0U}) {
        ASSERT_TRUE(sim.WaitForBytes(mover, mover.Held() + kFile / 8));
        const uint64_t held = mover.Held();
        mover.MoveTo(lane);
        sim.Run(1);
        EXPECT_EQ(mover.Held(), held);
    }
    ASSERT_TRUE(sim.RunToEnd(60000));
    EXPECT_TRUE(IsWhole(staying) && IsWhole(mover));
    // What was on its way at a move goes again, no more: one lead for each.
    EXPECT_LE(sim.blocksLeft[0] + sim.blocksLeft[1], 2 * BlocksOf(kFile) + 4 * kLeadBlocks);
}

// From a lane that has carried much to one that has carried nothing: the old count must mean nothing there.
TEST_F(TransferLanes, AnUnusedLaneCountsFromTheBeginning) {
    Start(2);
    const Receiver& earlier = sim.AddReceiver();
    ASSERT_TRUE(sim.RunUntil([&] { return IsWhole(earlier); }, 20000));
    Receiver& mover = sim.AddReceiver(0.1);
    ASSERT_TRUE(sim.WaitForBytes(mover, kFile / 8));
    const uint64_t held = mover.Held();
    mover.MoveTo(1);
    ASSERT_TRUE(sim.RunToEnd(60000));
    EXPECT_TRUE(IsWhole(mover));
    EXPECT_EQ(sim.blocksLeft[1], BlocksOf(kFile - held)) << "each block that it lacked, once";
    EXPECT_LE(sim.mostWaiting, (kLeadBlocks + 8) * (kBlockSize + kBlockHeaderLength));
}

// Its lead is on its way through the relay when the direct path stands.
TEST_F(TransferLanes, WhatStillComesByTheOldLaneNeedNotLeaveAgain) {
    sim.twoLanes = true;
    sim.StartSender(One(Megabytes(32)), {.receivers = 1});
    Receiver& mover = sim.AddReceiver(0.2);
    ASSERT_TRUE(sim.WaitForBytes(mover, 2 << 20));
    mover.MoveTo(1, false);
    ASSERT_TRUE(sim.RunToEnd(60000));
    EXPECT_TRUE(mover.Has(Megabytes(32)));
    EXPECT_GT(sim.blocksLeft[1], 2 * sim.blocksLeft[0]) << "the rest goes directly";
    EXPECT_LE(sim.blocksLeft[0] + sim.blocksLeft[1], BlocksOf(32 << 20) + kLeadBlocks / 16);
    EXPECT_LE(sim.mostWaiting, (2 * kLeadBlocks + 8) * (kBlockSize + kBlockHeaderLength))
        << "the old count means nothing";
}

TEST_F(TransferLanes, AReportThatComesLateByTheOldLaneOnlyCostsTime) {
    Start(1);
    Receiver& receiver = sim.AddReceiver(0.2);
    ASSERT_TRUE(sim.WaitForBytes(receiver, kFile / 4));
    receiver.MoveTo(1);
    ASSERT_TRUE(sim.WaitForBytes(receiver, kFile / 2));
    Status status;
    status.receiver = CTransferSim::kFirstReceiver;
    status.serial = 1U << 20;
    status.state = ReceiverState::Receiving;
    status.offers = 1;
    status.lacking = {{0, BlocksOf(kFile)}};
    sim.InjectUp(Encode({CTransferSim::kFirstTransfer, status}));
    ASSERT_TRUE(sim.RunToEnd(30000));
    EXPECT_TRUE(IsWhole(receiver));
    EXPECT_EQ(sim.Progress().completeByLane, (std::array<uint32_t, kMaxLanes>{0, 1}));
}

TEST_F(TransferLanes, ADeadLaneHoldsNobodyOnTheOtherOne) {
    Start(1);
    Receiver& victim = sim.AddReceiver(0.2);
    victim.MoveTo(1);
    ASSERT_TRUE(sim.WaitForBytes(victim, kFile / 4));
    victim.Kill();
    const Receiver& alive = sim.AddReceiver();
    EXPECT_TRUE(sim.RunUntil([&] { return IsWhole(alive); }, 3000)) << "before the dead one counts as silent";
}

}  // namespace
