// Sender and receivers together: who gets what, how often it leaves, and what happens when something breaks.
#include "unit/tools/transfer_sim.h"

#include <random>

using namespace sim;

namespace {

TEST(TransferEngines, EverySizeAndAsManyFilesAsThereMayBeArrive) {
    Files files;
    std::map<std::string, std::string> sent;
    const auto add = [&](const std::string& data) {
        const std::string name = "f" + std::to_string(files.size());
        sent[name] = data;
        files.push_back(std::make_unique<CMemorySource>(name, data));
    };
    for (const uint32_t size : {0U, 1U, kBlockSize - 1, kBlockSize, kBlockSize + 1, 0U, 5 * kBlockSize + 77})
        add(RandomBytes(size, size));
    while (files.size() < kMaxFiles) add(std::to_string(files.size()));
    CTransferSim sim;
    sim.StartSender(std::move(files));
    const Receiver& receiver = sim.AddReceiver();
    ASSERT_TRUE(sim.RunToEnd(20000));
    EXPECT_EQ(sim.sender->State(), SendState::Done);
    EXPECT_EQ(receiver.engine.State(), ReceiveState::Done);
    EXPECT_EQ(receiver.disk.files, sent);
    EXPECT_EQ(receiver.Held(), sim.Progress().totalBytes);
}

TEST(TransferEngines, ALateJoinerGetsWhatIsLeftWithTheOthersAndTheRestAlone) {
    CTransferSim sim;
    sim.StartSender(One(Megabytes(16)), {.receivers = 2});
    const Receiver& first = sim.AddReceiver(0.25);
    ASSERT_TRUE(sim.WaitForBytes(first, 8 << 20));
    const uint64_t before = sim.blocksLeft[0];
    const Receiver& late = sim.AddReceiver(0.25);
    ASSERT_TRUE(sim.RunToEnd(30000));
    EXPECT_TRUE(first.Has(Megabytes(16)) && late.Has(Megabytes(16)));
    EXPECT_EQ(sim.blocksLeft[0], BlocksOf(16 << 20) + before);
}

TEST(TransferEngines, AKilledReceiverResumesAndFetchesOnlyTheRestUnlessTheDiskLies) {
    for (const bool damaged : {false, true}) {
        CTransferSim sim;
        sim.StartSender(One(Megabytes(8)));
        Receiver& killed = sim.AddReceiver(0.2);
        ASSERT_TRUE(sim.WaitForBytes(killed, 3 << 20));
        killed.Kill();
        const uint64_t rest = (8 << 20) - killed.Held();
        if (damaged) killed.disk.parts.begin()->second.data[5] ^= 1;
        const Receiver& second = sim.AddReceiver(40, 60000, &killed.disk);
        ASSERT_TRUE(sim.RunToEnd(30000));
        EXPECT_TRUE(second.Has(Megabytes(8)));
        EXPECT_EQ(second.Arrived(), damaged ? rest + (8 << 20) : rest);
    }
}

TEST(TransferEngines, ARecordingOfASealedTransferBeginsNothing) {
    CTransferSim sim;
    sim.sealed = true;
    std::vector<std::string> recording;
    sim.downHook = [&recording](const std::string& frame) { return recording.push_back(frame), true; };
    sim.StartSender(One(Megabytes(1)));
    const Receiver& first = sim.AddReceiver();
    ASSERT_TRUE(sim.RunToEnd(20000));
    EXPECT_TRUE(first.Has(Megabytes(1)));
    sim.sender.reset();
    sim.downHook = nullptr;
    Receiver& late = sim.AddReceiver();
    late.relayQueue.assign(recording.begin(), recording.end());
    sim.Run(3000);
    EXPECT_TRUE(late.relayQueue.empty());
    EXPECT_EQ(late.engine.State(), ReceiveState::Waiting);
    EXPECT_TRUE(late.disk.parts.empty());
    sim.StartSender(One(Megabytes(1)));
    ASSERT_TRUE(sim.RunToEnd(20000));
    EXPECT_TRUE(late.Has(Megabytes(1)));
}

TEST(TransferEngines, CutsLoseFramesAndNothingElse) {
    for (uint32_t seed = 1; seed <= 60; ++seed) {
        std::mt19937 random(seed);
        CTransferSim sim;
        sim.senderRate = 1;
        sim.StartSender(One(Megabytes(4)), {.receivers = 2});
        const Receiver& first = sim.AddReceiver(0.5);
        Receiver& second = sim.AddReceiver(2);
        for (int cut = 0; cut < 3; ++cut) {
            sim.Run(random() % 120);
            if (random() % 2 == 0) second.Lose();  // one receiver alone misses frames
            if (random() % 2 == 0) sim.CutAll(random() % 300);
        }
        ASSERT_TRUE(sim.RunToEnd(30000)) << "seed " << seed;
        EXPECT_TRUE(first.Has(Megabytes(4)) && second.Has(Megabytes(4))) << "seed " << seed;
    }
}

TEST(TransferEngines, RunsAtMostTheLeadAheadOfTheSlowest) {
    CTransferSim sim;
    sim.StartSender(One(Megabytes(24)), {.receivers = 2});
    const Receiver& fast = sim.AddReceiver();
    const Receiver& slow = sim.AddReceiver(0.1);
    sim.Run(1000);
    EXPECT_GT(fast.Held() - slow.Held(), 6U << 20) << "the fast one is held back too early";
    EXPECT_LE(fast.Held() - slow.Held(), uint64_t{kLeadBlocks} * kBlockSize);
    ASSERT_TRUE(sim.RunToEnd(60000));
    EXPECT_LE(sim.mostWaiting, kLeadBlocks * (kBlockSize + kBlockHeaderLength) + 10000);
    EXPECT_GT(sim.mostWaiting, 6U << 20);
    EXPECT_TRUE(slow.Has(Megabytes(24)));
}

// The path of the slowest receiver decides, whatever those of others are like.
TEST(TransferEngines, ALongPathIsFilledAndASlowReceiverHasNoMoreWaiting) {
    struct {
        double rate;
        uint64_t upMs, othersMs;
    } const rows[] = {{1, 350, 0}, {0.1, 350, 0}, {0.3, 0, 350}};
    for (const auto& [rate, upMs, othersMs] : rows) {
        CTransferSim sim;
        sim.senderRate = 1;
        sim.StartSender(One(Megabytes(64)));
        Receiver& receiver = sim.AddReceiver(rate);
        receiver.upMs = upMs;
        ASSERT_TRUE(sim.WaitForBytes(receiver, 1));
        sim.AddReceiver().upMs = othersMs;
        ASSERT_TRUE(sim.WaitForBytes(receiver, 32 << 20));
        const uint64_t half = sim.now;
        ASSERT_TRUE(sim.WaitForBytes(receiver, 64 << 20));
        EXPECT_LT(static_cast<double>(sim.now - half), 512 / rate * 1.2) << rate;
        if (rate == 1) continue;
        EXPECT_LE(sim.mostWaiting, kLeadBlocks * (kBlockSize + kBlockHeaderLength) + 10000) << rate;
    }
}

// A report within the millisecond in which its blocks left tells nothing of the path.
TEST(TransferEngines, TheLeadStaysSmallWhileNoReportHasShownADelay) {
    CSendEngine sender(CTransferSim::kFirstTransfer, One(Megabytes(64)), {});
    Link link;
    Status status{.receiver = 1, .offers = 1, .lacking = {{0, BlocksOf(64 << 20)}}};
    uint64_t now = 1000;
    const auto report = [&] {
        const std::string frame = Encode({CTransferSim::kFirstTransfer, status});
        EXPECT_TRUE(sender.OnFrame(frame.data(), frame.size(), now));
    };
    sender.Tick(now, link);
    report();
    for (int i = 0; i < 5; ++i, now += 600) {
        const uint64_t before = status.serial;
        for (uint64_t last = UINT64_MAX; last != status.serial;) {
            last = status.serial;
            link.queue.clear();
            sender.Tick(now, link);
            for (const std::string& frame : link.queue)
                status.serial += frame[5] == static_cast<char>(MessageType::Block) ? 1 : 0;
        }
        EXPECT_EQ(status.serial - before, kLeadBlocks) << i;
        status.lacking = {
            {static_cast<uint32_t>(status.serial), BlocksOf(64 << 20) - static_cast<uint32_t>(status.serial)}};
        report();
    }
}

TEST(TransferEngines, TheSlowestHoldsNobodyOnceItIsDeadOrTakesNothing) {
    for (const bool dead : {true, false}) {
        const uint64_t limit = dead ? kReceiverSilentMs : kReceiverStuckMs;
        CTransferSim sim;
        sim.StartSender(One(Megabytes(16)));
        const Receiver& good = sim.AddReceiver();
        Receiver& bad = sim.AddReceiver(0.05);
        ASSERT_TRUE(sim.WaitForBytes(bad, 1));
        (dead ? bad.frozen : bad.deaf) = true;
        bad.Lose();
        sim.Run(limit / 2);
        EXPECT_LT(good.Held(), 16U << 20) << dead << ": held back at first";
        ASSERT_TRUE(sim.RunUntil([&] { return good.left && sim.sender->Over(); }, limit + 2000)) << dead;
        EXPECT_EQ(sim.sender->State(), SendState::Done) << dead;
        EXPECT_TRUE(good.Has(Megabytes(16))) << dead;
    }
}

TEST(TransferEngines, ADamagedBlockIsFetchedAgain) {
    CTransferSim sim;
    uint64_t damaged = 0;
    sim.downHook = [&](std::string& frame) {
        if (frame.size() > kBlockSize && damaged++ < 3) frame[kBlockHeaderLength + 1000] ^= 4;
        return true;
    };
    sim.StartSender(One(Megabytes(2)));
    const Receiver& receiver = sim.AddReceiver();
    ASSERT_TRUE(sim.RunToEnd(10000));
    EXPECT_EQ(receiver.engine.Progress().damagedBlocks, 3U);
    EXPECT_TRUE(receiver.Has(Megabytes(2)));
    EXPECT_EQ(sim.blocksLeft[0], BlocksOf(2 << 20) + 3);
}

TEST(TransferEngines, ARestartedSenderIsFollowed) {
    for (const bool same : {false, true}) {
        CTransferSim sim;
        sim.StartSender(One(Megabytes(24)));
        const Receiver& receiver = sim.AddReceiver(0.2);
        ASSERT_TRUE(sim.WaitForBytes(receiver, 4 << 20));
        const uint64_t before = sim.blocksLeft[0];
        sim.StartSender(One(Megabytes(same ? 24 : 4), same ? "file" : "new"));
        ASSERT_TRUE(sim.RunToEnd(30000));
        EXPECT_EQ(sim.sender->State(), SendState::Done);
        EXPECT_EQ(receiver.Has(Megabytes(24)), same);
        EXPECT_EQ(receiver.disk.files["new"], same ? "" : Megabytes(4));
        EXPECT_LE(sim.blocksLeft[0] - before, BlocksOf(uint64_t{same ? 20U : 4U} << 20))
            << "what was there has been sent again";
    }
}

}  // namespace
