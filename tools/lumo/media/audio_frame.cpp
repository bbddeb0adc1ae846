#include "tools/lumo/media/audio_frame.h"

#include "tools/lumo/transfer/byte_codec.h"

namespace lumo {

std::string Encode(const AudioFrame& frame) {
    return CByteWriter()
        .U32(frame.sequence)
        .U64(frame.granule)
        .U64(frame.sentUs)
        .Bytes(frame.body.data(), frame.body.size())
        .Result();
}

bool Decode(const char* data, size_t length, AudioFrame& frame) {
    if (length > kMaxAudioFrame) return false;
    CByteReader reader(data, length);
    frame.sequence = reader.U32();
    frame.granule = reader.U64();
    frame.sentUs = reader.U64();
    const size_t left = reader.Left();
    const char* body = reader.Bytes(left);
    if (!reader.Ok() || (left == 0 && !frame.IsControl())) return false;
    frame.body.assign(left > 0 ? body : "", left);
    return true;
}

}  // namespace lumo
