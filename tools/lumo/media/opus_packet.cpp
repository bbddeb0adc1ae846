#include "tools/lumo/media/opus_packet.h"

#include <array>

namespace lumo {
namespace {

constexpr uint32_t kMostSamples = 5760;  // 120 ms

uint32_t FrameSamples(uint8_t toc) {
    static constexpr std::array<uint32_t, 4> kSpeech = {480, 960, 1920, 2880}, kMusic = {120, 240, 480, 960};
    const int config = toc >> 3;
    if (config < 12) return kSpeech[config & 3];
    if (config < 16) return kSpeech[config & 1];  // hybrid
    return kMusic[config & 3];
}

}  // namespace

uint32_t OpusSamples(const char* packet, size_t length) {
    if (length == 0) return 0;
    const auto toc = static_cast<uint8_t>(packet[0]);
    uint32_t frames = (toc & 3) == 0 ? 1 : 2;
    if ((toc & 3) == 3) {
        if (length < 2) return 0;
        frames = static_cast<uint8_t>(packet[1]) & 0x3f;
    }
    const uint32_t samples = frames * FrameSamples(toc);
    return samples <= kMostSamples ? samples : 0;
}

std::string LostOpusPacket(const std::string& like) {
    const auto toc = static_cast<uint8_t>(like.at(0));
    return std::string(1, static_cast<char>(toc & 0xfc));  // one frame of no bytes
}

}  // namespace lumo
