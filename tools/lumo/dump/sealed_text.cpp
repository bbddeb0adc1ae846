#include "tools/lumo/dump/sealed_text.h"

#include <algorithm>
#include <cstdio>

namespace lumo {

std::optional<SealMedium> FramesOf(wire::Kind kind) {
    switch (kind) {
        case wire::Kind::Audio:
            return SEAL_AUDIO;
        case wire::Kind::Video:
            return SEAL_VIDEO;
        case wire::Kind::Desktop:
            return SEAL_DESKTOP;
        case wire::Kind::File:
            return SEAL_FILE;
        default:
            return std::nullopt;
    }
}

std::optional<SealMedium> FramesOf(std::optional<uint32_t> service) {
    if (!service) return SEAL_FILE;
    switch (static_cast<wire::TcpType>(*service)) {
        case wire::TcpType::VideoSender:
        case wire::TcpType::VideoReceiver:
            return SEAL_VIDEO;
        case wire::TcpType::Whiteboard:
        case wire::TcpType::Signalling:
            return std::nullopt;
        default:
            return SEAL_FILE;  // as those of audio and desktops, from their first byte on
    }
}

std::string DescribeSealed(std::optional<SealMedium> medium, const uint8_t* data, size_t length) {
    uint64_t keyID = 0, counter = 0;
    const int known = static_cast<int>(std::min<size_t>(length, INT32_MAX));
    if (!medium || !ReadSealedFrame(*medium, data, known, keyID, counter)) return "";
    char text[80];
    std::snprintf(text, sizeof text, ", sealed: key ID %016llx, counter %llu", static_cast<unsigned long long>(keyID),
                  static_cast<unsigned long long>(counter));
    return text;
}

}  // namespace lumo
