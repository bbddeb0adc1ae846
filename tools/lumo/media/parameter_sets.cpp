#include "tools/lumo/media/parameter_sets.h"

namespace lumo {

void CParameterSets::Note(const AccessUnit& unit) {
    std::string sequence, picture;
    std::string_view rest = unit.bytes;
    for (Nal nal; TakeNal(rest, nal) && !IsPicture(nal.type);) {
        if (nal.type == NalType::SequenceParameters) sequence += nal.bytes;
        if (nal.type == NalType::PictureParameters) picture += nal.bytes;
    }
    if (!sequence.empty() && sequence.size() <= kMostBytes) m_strSequence = sequence;
    if (!picture.empty() && picture.size() <= kMostBytes) m_strPicture = picture;
}

std::string CParameterSets::Complete(const AccessUnit& unit) {
    Note(unit);
    if (!unit.key || unit.parameters) return unit.bytes;
    // A delimiter stays in front.
    std::string_view rest = unit.bytes;
    Nal first;
    const bool delimited = TakeNal(rest, first) && first.type == NalType::Delimiter;
    const size_t at = delimited ? first.bytes.size() : 0;
    return unit.bytes.substr(0, at) + m_strSequence + m_strPicture + unit.bytes.substr(at);
}

}  // namespace lumo
