// Sender and receivers together: who gets what, how often it leaves, and what happens when something breaks.
#include "unit/tools/transfer_sim.h"

#include <gtest/gtest.h>

using namespace lumo;
using namespace sim;

namespace {

class TransferEngines : public CTransferTest {};

TEST_F(TransferEngines, EverySizeArrives) {
    Files files;
    std::map<std::string, std::string> sent;
    for (size_t size : {size_t{0}, size_t{1}, size_t{kBlockSize - 1}, size_t{kBlockSize}, size_t{kBlockSize + 1},
                        size_t{0}, 5 * size_t{kBlockSize} + 77}) {
        const std::string name = "f" + std::to_string(sent.size());
        sent[name] = RandomBytes(size, static_cast<uint32_t>(size));
        files.push_back(std::make_unique<CMemorySource>(name, sent[name]));
    }
    sim.StartSender(std::move(files));
    const auto& receiver = sim.AddReceiver(disk);
    ASSERT_TRUE(sim.RunToEnd(5000));
    EXPECT_EQ(sim.Sender().State(), SendState::Done);
    EXPECT_EQ(receiver.engine.State(), ReceiveState::Done);
    EXPECT_EQ(disk.files, sent);
    EXPECT_EQ(receiver.engine.Progress().heldBytes, sim.SenderProgress().totalBytes);
}

TEST_F(TransferEngines, ManyFilesAreOfferedInBatches) {
    Files files;
    for (uint32_t i = 0; i < kMaxFiles; ++i)
        files.push_back(std::make_unique<CMemorySource>("n" + std::to_string(i), std::to_string(i)));
    sim.StartSender(std::move(files));
    sim.AddReceiver(disk);
    ASSERT_TRUE(sim.RunToEnd(20000));
    EXPECT_EQ(disk.files.size(), kMaxFiles);
    EXPECT_EQ(disk.files["n999"], "999");
}

TEST_F(TransferEngines, EachBlockLeavesOnceForManyReceivers) {
    constexpr uint32_t kCount = 50;
    std::vector<MemoryDisk> disks(kCount);
    sim.StartSender(One(Megabytes(4)), Wanted(kCount));
    for (MemoryDisk& disk : disks) sim.AddReceiver(disk);
    ASSERT_TRUE(sim.RunToEnd(20000));
    EXPECT_EQ(sim.SenderProgress().complete, kCount);
    for (MemoryDisk& disk : disks) EXPECT_EQ(disk.files["file"], Megabytes(4));
    EXPECT_EQ(sim.BlocksLeft(), BlocksOf(Megabytes(4).size()));
}

TEST_F(TransferEngines, ALateJoinerGetsWhatIsLeftWithTheOthersAndTheRestAlone) {
    MemoryDisk late;
    sim.StartSender(One(Megabytes(16)), Wanted(2));
    auto& first = sim.AddReceiver(disk, 0.25);
    ASSERT_TRUE(sim.RunUntil([&] { return first.engine.Progress().arrivedBytes >= 8 * 1024 * 1024; }, 20000));
    const uint64_t before = sim.BlocksLeft();
    sim.AddReceiver(late, 0.25);
    ASSERT_TRUE(sim.RunToEnd(30000));
    EXPECT_EQ(late.files["file"], Megabytes(16));
    EXPECT_EQ(disk.files["file"], Megabytes(16));
    EXPECT_EQ(sim.BlocksLeft(), BlocksOf(Megabytes(16).size()) + before);
}

TEST(TransferEnginesEachWay, AKilledReceiverResumesAndFetchesOnlyTheRestUnlessTheDiskLies) {
    for (const bool damaged : {false, true}) {
        CTransferSim sim;
        MemoryDisk disk;
        sim.StartSender(One(Megabytes(8)));
        auto& killed = sim.AddReceiver(disk, 0.2);
        ASSERT_TRUE(sim.RunUntil([&] { return killed.engine.Progress().arrivedBytes >= 3 * 1024 * 1024; }, 20000));
        const uint64_t held = killed.engine.Progress().heldBytes;
        sim.Kill(killed);
        if (damaged) disk.parts.begin()->second.data[5] ^= 1;
        const auto& second = sim.AddReceiver(disk);
        ASSERT_TRUE(sim.RunToEnd(30000));
        EXPECT_EQ(disk.files["file"], Megabytes(8));
        const uint64_t rest = Megabytes(8).size() - held, again = damaged ? Megabytes(8).size() : 0;
        EXPECT_EQ(second.engine.Progress().arrivedBytes, rest + again);
    }
}

TEST(TransferEnginesEachWay, CutsLoseFramesAndNothingElse) {
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        std::mt19937 random(seed);
        CTransferSim sim;
        sim.senderRate = 1;
        MemoryDisk a, b;
        sim.StartSender(One(Megabytes(4)), Wanted(2));
        sim.AddReceiver(a, 0.5);
        auto& second = sim.AddReceiver(b, 2);
        for (int cut = 0; cut < 3; ++cut) {
            sim.Run(random() % 120);
            if (random() % 2 == 0) second.relayQueue.clear();  // one receiver alone misses frames
            if (random() % 2 == 0) sim.CutAll(random() % 300);
        }
        ASSERT_TRUE(sim.RunToEnd(30000)) << "seed " << seed;
        EXPECT_EQ(a.files["file"], Megabytes(4)) << "seed " << seed;
        EXPECT_EQ(b.files["file"], Megabytes(4)) << "seed " << seed;
    }
}

TEST_F(TransferEngines, RunsAtMostTheLeadAheadOfTheSlowest) {
    MemoryDisk slow;
    sim.StartSender(One(Megabytes(24)), Wanted(2));
    auto& first = sim.AddReceiver(disk);
    auto& second = sim.AddReceiver(slow, 0.1);
    sim.Run(1000);
    const uint64_t lead = first.engine.Progress().heldBytes - second.engine.Progress().heldBytes;
    EXPECT_GT(lead, 6U * 1024 * 1024) << "the fast one is held back too early";
    EXPECT_LE(lead, uint64_t{kLeadBlocks} * kBlockSize);
    ASSERT_TRUE(sim.RunToEnd(60000));
    EXPECT_LE(sim.MostWaitingBytes(), size_t{kLeadBlocks} * (kBlockSize + kBlockHeaderLength) + 10000);
    EXPECT_GT(sim.MostWaitingBytes(), 6U * 1024 * 1024);
    EXPECT_EQ(slow.files["file"], Megabytes(24));
}

TEST(TransferEnginesEachWay, TheSlowestHoldsNobodyOnceItIsDeadOrTakesNothing) {
    struct Row {
        const char* what;
        bool frozen, deaf;
        uint64_t limit;
    };
    for (const Row& row : {Row{"frozen", true, false, kReceiverSilentMs}, Row{"deaf", false, true, kReceiverStuckMs}}) {
        CTransferSim sim;
        MemoryDisk good, bad;
        sim.StartSender(One(Megabytes(16)));
        auto& first = sim.AddReceiver(good);
        auto& second = sim.AddReceiver(bad, 0.05);
        ASSERT_TRUE(sim.RunUntil([&] { return second.engine.Progress().arrivedBytes > 0; }, 5000));
        second.frozen = row.frozen;
        second.deaf = row.deaf;
        second.relayQueue.clear();
        sim.Run(row.limit / 2);
        EXPECT_LT(first.engine.Progress().heldBytes, Megabytes(16).size()) << row.what << ": held back at first";
        ASSERT_TRUE(sim.RunUntil([&] { return first.left && sim.Sender().Over(); }, row.limit + 2000)) << row.what;
        EXPECT_EQ(sim.Sender().State(), SendState::Done) << row.what;
        EXPECT_EQ(good.files["file"], Megabytes(16)) << row.what;
    }
}

TEST_F(TransferEngines, ADamagedBlockIsFetchedAgain) {
    int damaged = 0;
    sim.downHook = [&](std::string& frame) {
        if (frame.size() > kBlockSize && damaged < 3) frame[kBlockHeaderLength + 1000] ^= 4, ++damaged;
        return true;
    };
    sim.StartSender(One(Megabytes(2)));
    const auto& receiver = sim.AddReceiver(disk);
    ASSERT_TRUE(sim.RunToEnd(10000));
    EXPECT_EQ(receiver.engine.Progress().damagedBlocks, 3U);
    EXPECT_EQ(disk.files["file"], Megabytes(2));
    EXPECT_EQ(sim.BlocksLeft(), BlocksOf(Megabytes(2).size()) + 3);
}

TEST(TransferEnginesEachWay, ARestartedSenderIsFollowed) {
    for (const bool same : {false, true}) {
        CTransferSim sim;
        MemoryDisk disk;
        sim.StartSender(One(Megabytes(24), "old"));
        auto& receiver = sim.AddReceiver(disk, 0.2);
        ASSERT_TRUE(sim.RunUntil([&] { return receiver.engine.Progress().arrivedBytes >= 4 * 1024 * 1024; }, 20000));
        const uint64_t leftBefore = sim.BlocksLeft();
        sim.StartSender(same ? One(Megabytes(24), "old") : One(Megabytes(4), "new"));
        ASSERT_TRUE(sim.RunToEnd(30000));
        EXPECT_EQ(sim.Sender().State(), SendState::Done);
        EXPECT_EQ(disk.files["new"], same ? "" : Megabytes(4));
        EXPECT_EQ(disk.files["old"], same ? Megabytes(24) : "");
        const uint64_t most = same ? BlocksOf(20 * 1024 * 1024) : BlocksOf(4 * 1024 * 1024);
        EXPECT_LE(sim.BlocksLeft() - leftBefore, most) << "what was there has been sent again";
    }
}

TEST_F(TransferEngines, TheRateLimitHolds) {
    options.bytesPerSecond = 2 * 1024 * 1024;
    sim.StartSender(One(Megabytes(4)), options);
    sim.AddReceiver(disk);
    const uint64_t start = sim.Now();
    ASSERT_TRUE(sim.RunToEnd(10000));
    EXPECT_GE(sim.Now() - start, 1800U);
    EXPECT_LE(sim.Now() - start, 2400U);
}

}  // namespace
