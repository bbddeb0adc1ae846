#include "tools/lumo/media/jpeg_splitter.h"

#include <cstring>

namespace lumo {
namespace {

constexpr uint8_t kPrefix = 0xff, kStart = 0xd8, kEnd = 0xd9, kScan = 0xda, kTemporary = 0x01;
constexpr size_t kStartLength = 3;  // the start and the prefix of what must follow

bool IsRestart(uint8_t code) { return code >= 0xd0 && code <= 0xd7; }

}  // namespace

// Compressed data ends at a prefix that is neither stuffed, nor a restart, nor repeated.
bool CJpegWalk::PassScan(const uint8_t* bytes, size_t length) {
    while (m_nAt < length) {
        const void* found = std::memchr(bytes + m_nAt, kPrefix, length - m_nAt);
        m_nAt = found ? static_cast<size_t>(static_cast<const uint8_t*>(found) - bytes) : length;
        if (m_nAt + 1 >= length) return false;
        const uint8_t code = bytes[m_nAt + 1];
        if (code == kPrefix)
            ++m_nAt;
        else if (code == 0 || IsRestart(code))
            m_nAt += 2;
        else
            return true;
    }
    return false;
}

// False when there is an outcome.
bool CJpegWalk::TakeMarker(const uint8_t* bytes, size_t length, Result& result) {
    size_t code = m_nAt + 1;
    result = Result::NeedMore;
    if (m_nAt < length && bytes[m_nAt] != kPrefix) {
        result = Result::Broken;
        return false;
    }
    while (code < length && bytes[code] == kPrefix) ++code;  // fill bytes
    if (code >= length) return false;
    const uint8_t marker = bytes[code];
    const bool first = m_nAt == 0;
    if (first != (marker == kStart) || marker == 0) {
        result = Result::Broken;
        return false;
    }
    if (first || marker == kEnd || marker == kTemporary || IsRestart(marker)) {
        m_nAt = code + 1;
        result = Result::End;
        return marker != kEnd;
    }
    if (code + 2 >= length) return false;
    const size_t segment = (size_t{bytes[code + 1]} << 8) | bytes[code + 2];
    if (segment < 2) {
        result = Result::Broken;
        return false;
    }
    if (length - code - 1 < segment) return false;
    m_nAt = code + 1 + segment;
    m_bScan = marker == kScan;
    return true;
}

CJpegWalk::Result CJpegWalk::Go(const char* data, size_t length) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(data);
    Result result = Result::NeedMore;
    for (;;) {
        if (m_bScan && !PassScan(bytes, length)) return Result::NeedMore;
        m_bScan = false;
        if (!TakeMarker(bytes, length, result)) return result;
    }
}

size_t WholeJpegLength(const char* data, size_t length) {
    CJpegWalk walk;
    return walk.Go(data, length) == CJpegWalk::Result::End ? walk.At() : 0;
}

void CJpegSplitter::Drop(size_t length) {
    m_strBytes.erase(0, length);
    m_walk = CJpegWalk();
    m_bStarted = false;
}

void CJpegSplitter::Skip(size_t length) {
    if (length > 0 && !m_bForeign) {
        ++m_ullSkipped;
        m_bForeign = true;
    }
    Drop(length);
}

bool CJpegSplitter::FindStart() {
    static constexpr char start[kStartLength] = {'\xff', '\xd8', '\xff'};
    const size_t found = m_strBytes.find(start, 0, kStartLength);
    if (found != std::string::npos) {
        Skip(found);
        return m_bStarted = true;
    }
    if (m_strBytes.size() >= kStartLength) Skip(m_strBytes.size() - (kStartLength - 1));  // a start may be cut
    return false;
}

bool CJpegSplitter::Next(std::string& picture) {
    for (;;) {
        if (!m_bStarted && !FindStart()) return false;
        const CJpegWalk::Result result = m_walk.Go(m_strBytes.data(), m_strBytes.size());
        const size_t at = m_walk.At();
        if (result == CJpegWalk::Result::End && at <= m_nMaxPicture) {
            picture.assign(m_strBytes, 0, at);
            Drop(at);
            m_bForeign = false;
            return true;
        }
        const bool tooLong = (result == CJpegWalk::Result::NeedMore ? m_strBytes.size() : at) > m_nMaxPicture;
        if (result == CJpegWalk::Result::NeedMore && !tooLong) return false;
        m_bForeign = false;  // one more
        Skip(result == CJpegWalk::Result::NeedMore ? m_strBytes.size() : at);
        m_bForeign = true;
    }
}

}  // namespace lumo
