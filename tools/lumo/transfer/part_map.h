// The record beside an unfinished file: whose it is and the checksum of each block it holds.
#pragma once

#include "platform/lumonet/file_descriptor.h"
#include "tools/lumo/transfer/block_map.h"
#include "tools/lumo/transfer/messages.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace lumo {

/// A header (magic, version, size, SHA-256), then 8 bytes a block: its checksum, 0 where it is lacking.
class CPartMap {
public:
    CPartMap(CFileDescriptor fd, const Offer& offer) : m_fd(std::move(fd)), m_offer(offer) {}

    enum class Found { Ours, OtherFile, Blank, Foreign };
    /// Reads the record. Ours: `have` is filled. OtherFile: of an earlier transfer of other content. Blank: one that
    /// was never begun, or not even its first word was. Foreign: no record at all.
    Found Load(CBlockMap& have);
    /// Begins the record anew, with nothing held.
    bool Restart();
    /// Remembers a block; it is written with the next Flush.
    void Add(uint32_t block, uint64_t checksum) { m_pending.emplace_back(block, Mark(checksum)); }
    bool Flush();
    size_t Pending() const { return m_pending.size(); }
    /// Whether the stored checksum of a block is this one.
    bool Matches(uint32_t block, uint64_t checksum);
    bool Forget(uint32_t block);

private:
    static constexpr size_t kHeaderLength = 4 + 4 + 8 + 32;
    static uint64_t Mark(uint64_t checksum) { return checksum == 0 ? 1 : checksum; }
    static off_t Offset(uint32_t block) { return static_cast<off_t>(kHeaderLength + size_t{block} * 8); }
    bool Put(const void* data, size_t length, off_t offset);
    size_t Get(void* data, size_t length, off_t offset);

    CFileDescriptor m_fd;
    const Offer m_offer;
    std::vector<std::pair<uint32_t, uint64_t>> m_pending;
};

}  // namespace lumo
