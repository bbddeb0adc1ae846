// Who sealed a frame, in words. Nothing more can be seen of it.
#pragma once

#include "core/wire/commands.h"

#include <lumomedia/seal.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace lumo {

/// What the frames of that kind are sealed as; nothing: they never are.
std::optional<SealMedium> FramesOf(wire::Kind kind);
/// The same of a TCP connection by the type of its validation message. Without one anything is possible but a video,
/// whose sealed frames begin like plain ones.
std::optional<SealMedium> FramesOf(std::optional<uint32_t> service);

/// E.g. ", sealed: key ID 81c70c5fa3b1d2e4, counter 12"; empty for a plain frame. The frame's first bytes are enough.
std::string DescribeSealed(std::optional<SealMedium> medium, const uint8_t* data, size_t length);

}  // namespace lumo
