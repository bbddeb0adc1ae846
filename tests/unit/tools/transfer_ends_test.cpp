// Sender and receivers together: how a transfer ends, and who hears of it.
#include "unit/tools/transfer_sim.h"

#include <gtest/gtest.h>

using namespace lumo;
using namespace sim;

namespace {

class TransferEnds : public CTransferTest {};

TEST_F(TransferEnds, EndlessDamageEndsInAClearFailure) {
    sim.downHook = [](std::string& frame) {
        if (frame.size() > kBlockSize) frame.back() = static_cast<char>(frame.back() + 1);
        return true;
    };
    options.waitMs = 1000;
    sim.StartSender(One(Megabytes(2)), options);
    const auto& receiver = sim.AddReceiver(disk);
    ASSERT_TRUE(sim.RunToEnd(30000));
    EXPECT_EQ(receiver.engine.State(), ReceiveState::Failed);
    EXPECT_EQ(receiver.engine.Problem(), "too many blocks arrive damaged");
    EXPECT_EQ(sim.Sender().State(), SendState::Failed);
    EXPECT_TRUE(disk.files.empty());
}

TEST_F(TransferEnds, AWrongFinalHashIsTriedAgainAndThenRefused) {
    Files files;
    files.push_back(std::make_unique<CMemorySource>("lie", Megabytes(1), true));
    files.push_back(std::make_unique<CMemorySource>("truth", Megabytes(2)));
    options.waitMs = 1000;
    sim.StartSender(std::move(files), options);
    const auto& receiver = sim.AddReceiver(disk);
    ASSERT_TRUE(sim.RunToEnd(30000));
    EXPECT_EQ(receiver.engine.State(), ReceiveState::Failed);
    EXPECT_EQ(receiver.engine.Problem(), "lie: what the sender sends does not match its SHA-256");
    EXPECT_EQ(disk.files.count("lie"), 0U);
    EXPECT_EQ(disk.files["truth"], Megabytes(2)) << "the others do not suffer";
    EXPECT_EQ(sim.SenderProgress().lastFailure, Failure::Damaged);
}

TEST_F(TransferEnds, ARefusalReachesTheSenderAndHurtsNobodyElse) {
    MemoryDisk refuses, good;
    refuses.refuseAll = Failure::Exists;
    sim.StartSender(One(Megabytes(2)));
    const auto& first = sim.AddReceiver(refuses);
    sim.AddReceiver(good);
    ASSERT_TRUE(sim.RunToEnd(10000));
    EXPECT_EQ(first.engine.State(), ReceiveState::Failed);
    EXPECT_EQ(sim.Sender().State(), SendState::Done);
    EXPECT_EQ(sim.SenderProgress().failed, 1U);
    EXPECT_EQ(sim.SenderProgress().lastFailure, Failure::Exists);
    EXPECT_EQ(good.files["file"], Megabytes(2));
}

TEST(TransferEndsEachWay, WhatDoesNotFitIsToldBeforeTheFirstByte) {
    const struct {
        const char* what;
        uint64_t freeBytes;
        bool half;  // the first file is there, of an earlier attempt
        bool fits;
    } rows[] = {
        {"all of it", 3 << 20, false, true}, {"each alone", 2 << 20, false, false}, {"the rest", 2 << 20, true, true}};
    for (const auto& row : rows) {
        CTransferSim sim;
        MemoryDisk disk;
        disk.freeBytes = row.freeBytes;
        Files files = One(Megabytes(1), "one");
        if (row.half) {
            files[0]->HashStep();
            disk.parts["one" + HexOf(files[0]->Sha256())] = {Megabytes(1), std::vector<bool>(16, true)};
        }
        files.push_back(std::make_unique<CMemorySource>("two", Megabytes(2)));
        SendOptions options;
        options.waitMs = 1000;
        sim.StartSender(std::move(files), options);
        const auto& receiver = sim.AddReceiver(disk);
        ASSERT_TRUE(sim.RunToEnd(10000)) << row.what;
        EXPECT_EQ(receiver.engine.State(), row.fits ? ReceiveState::Done : ReceiveState::Failed) << row.what;
        EXPECT_EQ(disk.files.size(), row.fits ? 2U : 0U) << row.what;
        if (row.fits) continue;
        EXPECT_EQ(receiver.engine.Problem(), "there is no room: 3145728 bytes are to come and 2097152 are free");
        EXPECT_EQ(sim.SenderProgress().lastFailure, Failure::NoSpace);
        EXPECT_EQ(sim.BlocksLeft(), 0U);
    }
}

TEST(TransferEndsEachWay, WhoDeliversIsCompleteOnlyWhenItIsOut) {
    for (const bool works : {true, false}) {
        for (const bool senderStays : {true, false}) {
            CTransferSim sim;
            MemoryDisk disk;
            sim.StartSender(One(Megabytes(1)));
            auto& receiver = sim.AddReceiver(disk, 40, 3000);
            StoreStep step = StoreStep::More;
            receiver.engine.DeliverBy([&](const std::vector<IncomingFile>& files, std::string& problem) {
                EXPECT_EQ(files.size(), 1U);
                problem = step == StoreStep::Broken ? "nobody reads" : "";
                return step;
            });
            sim.Run(20000);
            EXPECT_EQ(receiver.engine.State(), ReceiveState::Delivering);
            EXPECT_EQ(sim.Sender().State(), SendState::Serving) << "it must not believe that all is done";
            EXPECT_EQ(sim.SenderProgress().alive, 1U) << "a reader that is slow costs no heartbeat";
            if (!senderStays) sim.StartSender({});
            sim.Run(5000);
            step = works ? StoreStep::Good : StoreStep::Broken;
            ASSERT_TRUE(sim.RunUntil([&] { return receiver.left; }, kConfirmWaitMs + 1000));
            EXPECT_EQ(receiver.engine.State(), works ? ReceiveState::Done : ReceiveState::Failed);
            EXPECT_EQ(receiver.engine.Problem(), works ? "" : "nobody reads");
            EXPECT_EQ(sim.SenderProgress().complete, works && senderStays ? 1U : 0U);
        }
    }
}

TEST_F(TransferEnds, ALostConfirmationOnlyCostsTime) {
    sim.downHook = [](std::string& frame) { return frame[5] != static_cast<char>(MessageType::Confirm); };
    sim.StartSender(One(Megabytes(1)), Wanted(2));
    const auto& receiver = sim.AddReceiver(disk);
    ASSERT_TRUE(sim.RunUntil([&] { return receiver.left; }, kConfirmWaitMs + 3000));
    EXPECT_EQ(receiver.engine.State(), ReceiveState::Done);
    EXPECT_EQ(sim.SenderProgress().complete, 1U);
}

TEST(TransferEndsEachWay, WhoWaitsInVainSaysSo) {
    {
        CTransferSim sim;
        SendOptions options;
        options.waitMs = 5000;
        sim.StartSender(One("x"), options);
        ASSERT_TRUE(sim.RunToEnd(5300));
        EXPECT_EQ(sim.Sender().State(), SendState::NobodyThere);
    }
    CTransferSim sim;
    MemoryDisk disk;
    auto& receiver = sim.AddReceiver(disk, 40, 3000);
    ASSERT_TRUE(sim.RunUntil([&] { return receiver.left; }, 3200));
    EXPECT_EQ(receiver.engine.State(), ReceiveState::NobodyThere);

    sim.StartSender(One(Megabytes(8)));
    auto& second = sim.AddReceiver(disk, 0.1, 3000);
    ASSERT_TRUE(sim.RunUntil([&] { return second.engine.Progress().arrivedBytes > 0; }, 1000));
    sim.CutAll(100000);
    ASSERT_TRUE(sim.RunUntil([&] { return second.left; }, 3200));
    EXPECT_EQ(second.engine.State(), ReceiveState::Failed) << "it had begun";
}

TEST_F(TransferEnds, GoodbyesEndTheWaiting) {
    sim.StartSender(One(Megabytes(8)));
    auto& receiver = sim.AddReceiver(disk, 0.1);
    ASSERT_TRUE(sim.RunUntil([&] { return receiver.engine.Progress().arrivedBytes > 0; }, 1000));
    EXPECT_EQ(sim.SenderProgress().unfinished, 1U);
    receiver.engine.Leave(receiver.up, ByeReason::Interrupted);
    sim.Run(10);
    EXPECT_EQ(sim.SenderProgress().alive, 0U);

    auto& second = sim.AddReceiver(disk, 0.1);
    ASSERT_TRUE(sim.RunUntil([&] { return second.engine.Progress().arrivedBytes > 0; }, 1000));
    CTransferSim::Link link;
    sim.Sender().Leave(link, ByeReason::Interrupted);
    sim.InjectDown(link.queue.back());
    ASSERT_TRUE(sim.RunUntil([&] { return second.left; }, 20000));
    EXPECT_EQ(second.engine.State(), ReceiveState::SenderLeft);
}

}  // namespace
