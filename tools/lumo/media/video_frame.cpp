#include "tools/lumo/media/video_frame.h"

#include "tools/lumo/transfer/byte_codec.h"

namespace lumo {
namespace {

constexpr std::string_view kEnd("\0\0\0\1\x0b", 5);

}  // namespace

bool VideoFrame::IsEnd() const { return unit == kEnd; }

std::string Encode(const VideoFrame& frame) {
    return CByteWriter().U8(frame.key ? 1 : 0).U16(frame.sequence).Bytes(frame.unit.data(), frame.unit.size()).Result();
}

std::string EncodeVideoEnd(uint16_t sequence) { return Encode({false, sequence, kEnd}); }

uint16_t SequenceOf(const std::string& frame) { return CByteReader(frame.data() + 1, kVideoHeadLength - 1).U16(); }

bool Decode(const char* data, size_t length, VideoFrame& frame) {
    if (length > kMaxVideoFrame) return false;
    CByteReader reader(data, length);
    frame.key = reader.U8() != 0;
    frame.sequence = reader.U16();
    const size_t left = reader.Left();
    const char* unit = reader.Bytes(left);
    if (!reader.Ok() || left == 0) return false;
    frame.unit = std::string_view(unit, left);
    std::string_view rest = frame.unit;
    Nal first;
    return TakeNal(rest, first);
}

}  // namespace lumo
