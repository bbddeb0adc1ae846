// Who gives way when memory runs out, and how much there is.
#include "platform/lumobase/memory_budget.h"
#include "platform/lumobase/machine_memory.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

class CHolder final : public IBudgetHolder {
public:
    CHolder(CMemoryBudget& budget, uint32_t ip) : account(budget, *this) { account.Enter(ip); }
    void GiveWay() override {
        ++asked;
        if (atOnce) account.Return(account.Bytes());
    }
    uint64_t BytesMoved() override { return moved; }

    uint64_t moved = 0;
    int asked = 0;
    bool atOnce = true;
    CBudgetAccount account;
};

struct Holding {
    uint32_t ip;
    uint64_t mebibytes;
    uint64_t speed;    // of them a second
    int seconds = 10;  // of ten in which it moves
};

constexpr uint64_t kMiB = 1 << 20;
constexpr uint64_t kLimit = 64 * kMiB;
constexpr uint32_t kTrusted = 0x7f000001;

std::string WhoGoes(const std::vector<Holding>& holdings, bool atOnce) {
    CMemoryBudget budget(kLimit);
    budget.SetExempt([](uint32_t ip) { return ip == kTrusted; });
    std::vector<std::unique_ptr<CHolder>> holders;
    for (const Holding& holding : holdings) {
        holders.push_back(std::make_unique<CHolder>(budget, holding.ip));
        holders.back()->atOnce = atOnce;
        EXPECT_TRUE(holders.back()->account.Take(holding.mebibytes * kMiB));
    }
    for (int second = 0; second < 10; ++second) {
        for (size_t i = 0; i < holders.size(); ++i)
            if (second < holdings[i].seconds) holders[i]->moved += holdings[i].speed * kMiB;
        budget.OnSecond();
    }
    for (int turn = 0; turn < 3; ++turn) budget.Relieve();
    std::string gone;
    for (size_t i = 0; i < holders.size(); ++i)
        if (holders[i]->asked > 0) gone += std::to_string(i);
    EXPECT_EQ(budget.GivenWay(), gone.size());
    for (const auto& holder : holders) holder->account.Return(holder->account.Bytes());
    EXPECT_EQ(budget.Sum(), 0U);
    return gone;
}

TEST(MemoryBudget, WhoHasMostAndMovesLeastGivesWay) {
    const struct {
        const char* name;
        std::vector<Holding> holdings;
        std::string gone;  // the places of those who gave way
    } cases[] = {
        {"nobody within the limit", {{1, 14, 0}, {2, 16, 0}, {3, 16, 0}, {4, 16, 0}}, ""},
        {"who has most", {{1, 14, 0}, {2, 15, 0}, {3, 13, 0}, {0, 24, 0}}, "3"},
        {"who moves least", {{0, 40, 50}, {2, 10, 0}, {0, 16, 16}}, "1"},
        {"who no longer moves", {{0, 40, 50, 2}, {2, 10, 0}, {0, 16, 16}}, "0"},
        {"as many as it takes", {{1, 9, 0}, {0, 8, 0}, {2, 11, 0}, {3, 15, 0}, {0, 25, 9}}, "3"},
        {"an address past its quarter", {{1, 9, 1}, {1, 8, 0}, {2, 9, 0}}, "1"},
        {"but not a trusted one", {{kTrusted, 9, 1}, {kTrusted, 8, 0}, {2, 9, 0}}, ""},
        {"nor those whom this side has chosen", {{0, 9, 0}, {0, 8, 0}, {0, 9, 0}}, ""},
    };
    for (const auto& one : cases)
        for (const bool atOnce : {true, false}) EXPECT_EQ(WhoGoes(one.holdings, atOnce), one.gone) << one.name;
}

TEST(MemoryBudget, CountsWhatManyShareOnceAndRefusesFarPastTheLimit) {
    CMemoryBudget budget(kLimit);
    CHolder first(budget, 1), second(budget, 1);
    ASSERT_TRUE(budget.Add(12 * kMiB));
    for (CHolder* holder : {&first, &second}) holder->account.Hold(12 * kMiB);
    budget.Relieve();
    EXPECT_EQ(first.asked + second.asked, 0) << "the quarter is full on paper only";
    EXPECT_EQ(budget.Sum(), 12 * kMiB);
    EXPECT_TRUE(first.account.Take(kLimit - 12 * kMiB + 1)) << "the worker will see to it";
    EXPECT_FALSE(second.account.Take(kLimit / 8));
    EXPECT_EQ(budget.Sum(), kLimit + 1);
    budget.Relieve();
    EXPECT_EQ(first.asked, 1);
    EXPECT_FALSE(first.account.Take(1)) << "it is over";
}

TEST(MemoryBudget, WhoHoldsLittleIsServedWhereOthersJumpPastTheLimit) {
    CMemoryBudget budget(kLimit);
    CHolder greedy(budget, 1), honest(budget, 2);
    ASSERT_TRUE(greedy.account.Take(kLimit + kLimit / 8));
    EXPECT_FALSE(greedy.account.Take(1));
    EXPECT_TRUE(honest.account.Take(kLimit / 256));
    EXPECT_FALSE(honest.account.Take(1)) << "that is no longer little";
    for (const auto& [ip, served] : {std::pair<uint32_t, int>{3, 8}, {0, 7}}) {  // so much an address, and in all
        std::vector<std::unique_ptr<CHolder>> crowd;
        for (int i = 0; i < 20; ++i) {
            crowd.push_back(std::make_unique<CHolder>(budget, ip));
            EXPECT_EQ(crowd.back()->account.Take(kLimit / 256), i < served) << ip << ": " << i;
        }
    }
    EXPECT_EQ(budget.Sum(), kLimit + kLimit / 8 + kLimit / 16);
}

TEST(MachineMemory, IsTheLeastThatSomethingSays) {
    const CScratch root;
    const auto write = [&](const std::string& path, const std::string& text) {
        root.Put(path, text);
        return MachineMemory(root / "");
    };
    EXPECT_EQ(MachineMemory(root / ""), 0U);
    EXPECT_EQ(write("proc/meminfo", "MemFree:  1 kB\nMemTotal:       2048 kB\n"), 2048U * 1024);
    write("proc/self/cgroup", "4:cpu,memory:/a/b\n0::/c/d\n");
    EXPECT_EQ(write("sys/fs/cgroup/c/d/memory.max", "max\n"), 2048U * 1024);
    EXPECT_EQ(write("sys/fs/cgroup/c/memory.max", "1000000\n"), 1000000U) << "the group above";
    EXPECT_EQ(write("sys/fs/cgroup/memory/a/b/memory.limit_in_bytes", "900000\n"), 900000U);
    EXPECT_EQ(write("sys/fs/cgroup/memory/memory.limit_in_bytes", "9223372036854771712\n"), 900000U) << "no limit";
}

}  // namespace
