// Access units out of an H.264 byte stream that comes in pieces.
#pragma once

#include "tools/lumo/media/annexb.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

/// One coded picture (a field counts as one) and what belongs to it.
struct AccessUnit {
    std::string bytes;        ///< as they came, start codes included
    uint64_t offset = 0;      ///< of the first one in the stream
    bool key = false;         ///< an IDR picture: decoding may begin here
    bool parameters = false;  ///< the parameter sets that this takes are in it
};

/// Feed it until it has a unit; put together, the units are the stream. One thread.
class CAnnexBReader {
public:
    enum class Result {
        Unit,
        NeedMore,
        End,
        Broken,  ///< no H.264, damaged, or too large; Problem() says what is wrong
    };
    static constexpr size_t kMaxUnit = 4 * 1024 * 1024;  ///< bytes, far more than a picture takes

    /// `offset` is where in the stream the first byte stands.
    explicit CAnnexBReader(uint64_t offset = 0) : m_ullOffset(offset) {}

    void Feed(const char* data, size_t length);
    /// Nothing more will come.
    void Finish() { m_bFinished = true; }
    /// A unit is known to be whole when the next one begins.
    Result Next(AccessUnit& unit);
    /// NAL units without a byte, which stay where they are.
    uint64_t EmptyNals() const { return m_ullEmpty; }
    const std::string& Problem() const { return m_strProblem; }

private:
    bool IsWhole(size_t code) const { return m_bFinished || m_strBuffer.size() > code + kStartCode.size() + 1; }
    bool BeginsUnit(size_t code) const;
    void Note(size_t code);
    Result Emit(size_t end, AccessUnit& unit);
    Result Rest(AccessUnit& unit);
    Result Fail(const std::string& problem);

    std::string m_strBuffer;
    size_t m_nBegin = 0;    // of the unit that is being read
    size_t m_nScan = 0;     // no start code of a NAL unit not yet noted before here
    uint64_t m_ullOffset;   // of the buffer's first byte
    bool m_bBegun = false;  // the first start code has come
    bool m_bPicture = false;
    bool m_bSequence = false, m_bParameters = false;  // parameter sets of the two kinds
    bool m_bKey = false;
    bool m_bFinished = false;
    uint64_t m_ullUnits = 0;
    uint64_t m_ullEmpty = 0;
    std::string m_strProblem;
};

}  // namespace lumo
