// Pictures of a screen: whole PNG or JPEG files, whose content nobody here looks at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace lumo {

enum class PictureFormat : uint8_t { None = 0, Jpeg = 1, Png = 2 };

struct Picture {
    PictureFormat format = PictureFormat::None;
    std::string bytes;
};

/// What a whole picture is; None for what is cut off or something else. Of a JPEG the segments are followed to its end,
/// of a PNG the chunks.
PictureFormat FormatOf(const std::string& bytes);

/// "jpg" or "png".
const char* ExtensionOf(PictureFormat format);

}  // namespace lumo
