// What a decoder needs to know before the first picture, for those who come later.
#pragma once

#include "tools/lumo/media/annexb_reader.h"

#include <string>

namespace lumo {

/// Keeps the latest parameter sets of a stream. One thread.
class CParameterSets {
public:
    /// The unit as it shall be published: one that decoding may begin with gets the sets that it lacks.
    std::string Complete(const AccessUnit& unit);

private:
    void Note(const AccessUnit& unit);

    static constexpr size_t kMostBytes = 64 * 1024;
    std::string m_strSequence;
    std::string m_strPicture;
};

}  // namespace lumo
