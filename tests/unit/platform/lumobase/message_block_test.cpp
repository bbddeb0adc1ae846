#include "platform/lumobase/message_block.h"

#include <gtest/gtest.h>

#include <set>
#include <vector>

namespace {

TEST(MessageBlock, OnlyTheCommonSizeIsKeptAndOnlySoManyOfIt) {
    const size_t common = CMessageBlock::kSmallestStocked + 1;
    const size_t sizes[] = {1, CMessageBlock::kSmallestStocked, CMessageBlock::kStockSize + 1};
    for (const size_t size : sizes) EXPECT_EQ(CMessageBlock::Make(size).Capacity(), size);
    EXPECT_EQ(CMessageBlock::Make(common).Capacity(), CMessageBlock::kStockSize);

    std::set<char*> kept;
    {
        std::vector<CMessageBlock> blocks;
        for (size_t i = 0; i < CMessageBlock::kMaxStock + 5; ++i) blocks.push_back(CMessageBlock::Make(common));
        for (const CMessageBlock& block : blocks) kept.insert(block.Get());
        EXPECT_EQ(kept.size(), blocks.size()) << "no two owners of one block";
    }
    std::vector<CMessageBlock> again;
    for (size_t i = 0; i < CMessageBlock::kMaxStock; ++i) again.push_back(CMessageBlock::Make(common));
    for (const CMessageBlock& block : again) EXPECT_EQ(kept.count(block.Get()), 1u) << "used again";
}

}  // namespace
