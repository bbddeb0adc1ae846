#include "seal/stream_rules.h"

#include "seal/frame_key.h"

namespace seal {

SealOutcome ReadFrame(SealMedium medium, const unsigned char* frame, int length, Header& header) {
    // What a header with a key ID of 8 bytes begins with; no plain frame of any medium does.
    constexpr unsigned char kFirst = 0xf0;
    const int clear = ClearBytes(medium);
    if (!frame || length <= clear || frame[clear] < kFirst) return SEAL_PLAIN;
    if (!ReadHeader(frame + clear, length - clear, header)) return SEAL_MALFORMED;
    const bool whole = length >= clear + header.length + kTagLength;
    return whole && (header.keyID & kTopBit) != 0 ? SEAL_DONE : SEAL_MALFORMED;
}

}  // namespace seal

bool ReadSealedFrame(SealMedium medium, const void* frame, int length, uint64_t& keyID, uint64_t& counter) {
    seal::Header header{};
    if (seal::ReadFrame(medium, static_cast<const unsigned char*>(frame), length, header) != SEAL_DONE) return false;
    keyID = header.keyID;
    counter = header.counter;
    return true;
}
