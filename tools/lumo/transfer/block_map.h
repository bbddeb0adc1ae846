// Which blocks of a file are there.
#pragma once

#include "tools/lumo/transfer/messages.h"

#include <cstdint>
#include <vector>

namespace lumo {

/// One bit a block.
class CBlockMap {
public:
    explicit CBlockMap(uint32_t blocks = 0) : m_words((size_t{blocks} + 63) / 64), m_nBlocks(blocks) {}

    bool Has(uint32_t block) const { return (m_words[block / 64] >> (block % 64) & 1) != 0; }
    void Set(uint32_t block);
    void Clear(uint32_t block);
    void ClearAll() { *this = CBlockMap(m_nBlocks); }
    bool Full() const { return m_nHeld == m_nBlocks; }
    uint32_t Held() const { return m_nHeld; }
    uint32_t Blocks() const { return m_nBlocks; }
    /// Adds what is lacking, numbered from `offset` on, until `ranges` has kMaxRanges entries.
    void AddLacking(uint32_t offset, std::vector<BlockRange>& ranges) const;

private:
    uint32_t Next(bool held, uint32_t from) const;

    std::vector<uint64_t> m_words;
    uint32_t m_nBlocks;
    uint32_t m_nHeld = 0;
    mutable uint32_t m_nAllBefore = 0;  // everything before it is held, so that a long file is not searched each time
};

/// Blocks that somebody asked for: disjoint ranges in order.
class CBlockRanges {
public:
    CBlockRanges() = default;
    /// `ranges` ascending and apart.
    explicit CBlockRanges(std::vector<BlockRange> ranges) : m_ranges(std::move(ranges)) {}

    void Remove(uint32_t block);
    bool Empty() const { return m_ranges.empty(); }
    void Clear() { m_ranges.clear(); }
    /// The lowest block at or after `from`; kNone when there is none.
    uint32_t NextFrom(uint32_t from) const;
    const std::vector<BlockRange>& Ranges() const { return m_ranges; }

    static constexpr uint32_t kNone = UINT32_MAX;

private:
    std::vector<BlockRange> m_ranges;
};

}  // namespace lumo
