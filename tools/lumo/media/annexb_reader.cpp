#include "tools/lumo/media/annexb_reader.h"

#include <algorithm>

namespace lumo {

void CAnnexBReader::Feed(const char* data, size_t length) {
    m_strBuffer.erase(0, m_nBegin);
    m_ullOffset += m_nBegin;
    m_nScan -= m_nBegin;
    m_nBegin = 0;
    m_strBuffer.append(data, length);
}

CAnnexBReader::Result CAnnexBReader::Fail(const std::string& problem) {
    m_strProblem = problem;
    return Result::Broken;
}

/// What a picture's own NAL units never stand before: what comes before those of the next one, or its first slice.
bool CAnnexBReader::BeginsUnit(size_t code) const {
    const size_t header = code + kStartCode.size();
    if (header >= m_strBuffer.size()) return false;
    const NalType type = TypeOf(m_strBuffer[header]);
    if (IsPicture(type)) {
        // The slice header begins with the number of its first macroblock; 0 is coded as a single 1 bit.
        return header + 1 < m_strBuffer.size() && (static_cast<uint8_t>(m_strBuffer[header + 1]) & 0x80) != 0;
    }
    const auto number = static_cast<int>(type);
    return (number >= static_cast<int>(NalType::Sei) && number <= static_cast<int>(NalType::Delimiter)) ||
           (number >= 15 && number <= 18);
}

void CAnnexBReader::Note(size_t code) {
    const size_t header = code + kStartCode.size();
    m_nScan = header;
    const NalType type = header < m_strBuffer.size() ? TypeOf(m_strBuffer[header]) : NalType::Empty;
    if (type == NalType::Empty) ++m_ullEmpty;
    m_bPicture = m_bPicture || IsPicture(type);
    m_bKey = m_bKey || type == NalType::Idr;
    m_bSequence = m_bSequence || type == NalType::SequenceParameters;
    m_bParameters = m_bParameters || type == NalType::PictureParameters;
}

CAnnexBReader::Result CAnnexBReader::Emit(size_t end, AccessUnit& unit) {
    if (end - m_nBegin > kMaxUnit)
        return Fail("a picture takes more than " + std::to_string(kMaxUnit) + " bytes, which is the most");
    unit.bytes.assign(m_strBuffer, m_nBegin, end - m_nBegin);
    unit.offset = m_ullOffset + m_nBegin;
    unit.key = m_bKey;
    unit.parameters = m_bSequence && m_bParameters;
    m_nBegin = end;
    m_bPicture = m_bKey = m_bSequence = m_bParameters = false;
    ++m_ullUnits;
    return Result::Unit;
}

CAnnexBReader::Result CAnnexBReader::Rest(AccessUnit& unit) {
    if (m_bPicture) {
        m_nScan = m_strBuffer.size();
        return Emit(m_strBuffer.size(), unit);
    }
    return m_ullUnits > 0 ? Result::End : Fail("there is no H.264 picture in it");
}

CAnnexBReader::Result CAnnexBReader::Next(AccessUnit& unit) {
    for (;;) {
        const size_t code = m_strBuffer.find(kStartCode, m_nScan);
        const bool found = code != std::string::npos;
        // A start code may be cut in two.
        m_nScan = std::max(m_nScan, found ? code : m_strBuffer.size() - std::min<size_t>(m_strBuffer.size(), 2));
        if (!m_bBegun && m_strBuffer.find_first_not_of('\0') < m_nScan)
            return Fail("this is no H.264 byte stream: it does not begin with a start code");
        if (m_nScan - m_nBegin > kMaxUnit + 1) return Emit(m_nScan, unit);  // which fails
        if (!found) return m_bFinished ? Rest(unit) : Result::NeedMore;
        if (!IsWhole(code)) return Result::NeedMore;
        m_bBegun = true;
        if (m_bPicture && BeginsUnit(code)) {
            const bool longer = code > m_nBegin && m_strBuffer[code - 1] == 0;
            return Emit(longer ? code - 1 : code, unit);
        }
        const size_t header = code + kStartCode.size();
        if (header < m_strBuffer.size() && (static_cast<uint8_t>(m_strBuffer[header]) & 0x80) != 0)
            return Fail("the stream is damaged at byte " + std::to_string(m_ullOffset + header));
        Note(code);
    }
}

}  // namespace lumo
