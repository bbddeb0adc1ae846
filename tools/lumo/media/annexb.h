// The H.264 byte stream format: NAL units behind start codes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace lumo {

enum class NalType : uint8_t {
    Empty = 0,  ///< nothing between two start codes
    Slice = 1,
    PartitionA = 2,
    Idr = 5,
    Sei = 6,
    SequenceParameters = 7,
    PictureParameters = 8,
    Delimiter = 9,
    EndOfStream = 11,
};

inline constexpr std::string_view kStartCode("\0\0\1", 3);

/// One of a unit's NAL units.
struct Nal {
    NalType type = NalType::Empty;
    std::string_view bytes;  ///< its start code in front
};

/// Takes the first NAL unit off `rest`, which begins with a start code after any number of zeros; false when
/// it does not.
bool TakeNal(std::string_view& rest, Nal& nal);

inline NalType TypeOf(char header) { return static_cast<NalType>(static_cast<uint8_t>(header) & 0x1f); }
inline bool IsPicture(NalType type) {
    return type == NalType::Slice || type == NalType::PartitionA || type == NalType::Idr;
}

}  // namespace lumo
