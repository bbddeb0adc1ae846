#include "tools/lumo/media/picture.h"

#include "tools/lumo/media/jpeg_splitter.h"
#include "tools/lumo/transfer/byte_codec.h"

namespace lumo {
namespace {

constexpr size_t kSignatureLength = 8, kTypeLength = 4, kChecksumLength = 4;

bool IsWholePng(const std::string& bytes) {
    CByteReader reader(bytes.data(), bytes.size());
    const char* signature = reader.Bytes(kSignatureLength);
    if (!signature || std::memcmp(signature, "\x89PNG\r\n\x1a\n", kSignatureLength) != 0) return false;
    for (bool last = false; !last;) {
        const size_t length = reader.U32();
        const char* type = reader.Bytes(kTypeLength);
        if (!reader.Bytes(length) || !reader.Bytes(kChecksumLength)) return false;
        last = std::memcmp(type, "IEND", kTypeLength) == 0;
    }
    return true;
}

}  // namespace

PictureFormat FormatOf(const std::string& bytes) {
    if (IsWholePng(bytes)) return PictureFormat::Png;
    return WholeJpegLength(bytes.data(), bytes.size()) > 0 ? PictureFormat::Jpeg : PictureFormat::None;
}

const char* ExtensionOf(PictureFormat format) { return format == PictureFormat::Png ? "png" : "jpg"; }

}  // namespace lumo
