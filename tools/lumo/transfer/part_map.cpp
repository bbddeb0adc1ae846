#include "tools/lumo/transfer/part_map.h"

#include "tools/lumo/transfer/byte_codec.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace lumo {
namespace {

constexpr uint32_t kMapMagic = 0x4C55504D;  // "LUPM"
constexpr uint32_t kMapVersion = 1;
constexpr size_t kMarkLength = 4 + 4;  // what every record begins with

std::string HeaderOf(const Offer& offer) {
    CByteWriter writer;
    writer.U32(kMapMagic).U32(kMapVersion).U64(offer.size).Bytes(offer.sha256.data(), offer.sha256.size());
    return writer.Result();
}

}  // namespace

CPartMap::Found CPartMap::Load(CBlockMap& have) {
    char header[kHeaderLength];
    const size_t got = Get(header, kHeaderLength, 0);
    const std::string expected = HeaderOf(m_offer);
    if (expected.compare(0, std::min(got, kMarkLength), header, std::min(got, kMarkLength)) != 0) return Found::Foreign;
    if (got < kMarkLength) return Found::Blank;
    if (expected != std::string(header, got)) return Found::OtherFile;

    std::vector<char> marks(kBlockSize);
    for (uint32_t block = 0; block < have.Blocks();) {
        const size_t bytes = Get(marks.data(), marks.size(), Offset(block));
        if (bytes < 8) break;
        CByteReader entries(marks.data(), bytes);
        for (; entries.Left() >= 8 && block < have.Blocks(); ++block) {
            if (entries.U64() != 0) have.Set(block);
        }
    }
    return Found::Ours;
}

bool CPartMap::Restart() {
    m_pending.clear();
    const std::string header = HeaderOf(m_offer);
    return ftruncate(m_fd.Get(), 0) == 0 && Put(header.data(), header.size(), 0);
}

bool CPartMap::Flush() {
    std::sort(m_pending.begin(), m_pending.end());
    for (size_t i = 0; i < m_pending.size();) {
        const uint32_t first = m_pending[i].first;
        CByteWriter run;
        for (; i < m_pending.size() && m_pending[i].first == first + run.Result().size() / 8; ++i)
            run.U64(m_pending[i].second);
        if (!Put(run.Result().data(), run.Result().size(), Offset(first))) return false;
    }
    m_pending.clear();
    return true;
}

bool CPartMap::Matches(uint32_t block, uint64_t checksum) {
    char mark[8];
    if (Get(mark, sizeof mark, Offset(block)) != sizeof mark) return false;
    return CByteReader(mark, sizeof mark).U64() == Mark(checksum);
}

bool CPartMap::Forget(uint32_t block) {
    static constexpr char kLacking[8] = {};
    return Put(kLacking, sizeof kLacking, Offset(block));
}

bool CPartMap::Put(const void* data, size_t length, off_t offset) {
    for (size_t done = 0; done < length;) {
        const ssize_t put =
            pwrite(m_fd.Get(), static_cast<const char*>(data) + done, length - done, offset + static_cast<off_t>(done));
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) return false;
        done += static_cast<size_t>(put);
    }
    return true;
}

size_t CPartMap::Get(void* data, size_t length, off_t offset) {
    size_t done = 0;
    while (done < length) {
        const ssize_t got =
            pread(m_fd.Get(), static_cast<char*>(data) + done, length - done, offset + static_cast<off_t>(done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<size_t>(got);
    }
    return done;
}

}  // namespace lumo
