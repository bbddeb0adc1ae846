#include "tools/lumo/transfer/block_map.h"

#include <algorithm>

namespace lumo {

void CBlockMap::Set(uint32_t block) {
    if (Has(block)) return;
    m_words[block / 64] |= uint64_t{1} << (block % 64);
    ++m_nHeld;
}

void CBlockMap::Clear(uint32_t block) {
    if (!Has(block)) return;
    m_words[block / 64] &= ~(uint64_t{1} << (block % 64));
    --m_nHeld;
    m_nAllBefore = std::min(m_nAllBefore, block);
}

uint32_t CBlockMap::Next(bool held, uint32_t from) const {
    while (from < m_nBlocks) {
        const uint64_t word = held ? m_words[from / 64] : ~m_words[from / 64];
        const uint64_t rest = word >> (from % 64);
        if (rest != 0) return std::min(m_nBlocks, from + static_cast<uint32_t>(__builtin_ctzll(rest)));
        from = (from / 64 + 1) * 64;
    }
    return m_nBlocks;
}

void CBlockMap::AddLacking(uint32_t offset, std::vector<BlockRange>& ranges) const {
    m_nAllBefore = Next(false, m_nAllBefore);
    for (uint32_t first = m_nAllBefore; first < m_nBlocks && ranges.size() < kMaxRanges;) {
        const uint32_t end = Next(true, first);
        if (!ranges.empty() && ranges.back().first + ranges.back().count == offset + first)
            ranges.back().count += end - first;  // the end of one file and the beginning of the next
        else
            ranges.push_back({offset + first, end - first});
        first = Next(false, end);
    }
}

void CBlockRanges::Remove(uint32_t block) {
    auto range = std::upper_bound(m_ranges.begin(), m_ranges.end(), block,
                                  [](uint32_t value, const BlockRange& item) { return value < item.first; });
    if (range == m_ranges.begin()) return;
    --range;
    const uint32_t end = range->first + range->count;
    if (block >= end) return;
    if (range->count == 1) {
        m_ranges.erase(range);
    } else if (block == range->first) {
        ++range->first;
        --range->count;
    } else {
        range->count = block - range->first;
        if (block + 1 < end) m_ranges.insert(range + 1, {block + 1, end - block - 1});
    }
}

uint32_t CBlockRanges::NextFrom(uint32_t from) const {
    const auto range =
        std::upper_bound(m_ranges.begin(), m_ranges.end(), from,
                         [](uint32_t value, const BlockRange& item) { return value < item.first + item.count; });
    return range == m_ranges.end() ? kNone : std::max(from, range->first);
}

}  // namespace lumo
