#include "tools/lumo/media/desktop_frame.h"

#include "tools/lumo/transfer/byte_codec.h"

namespace lumo {
namespace {

constexpr uint8_t kViewReport = 1, kViewerLeaves = 2;

bool IsConsistent(const DesktopHead& head, size_t left) {
    if (head.kind < DesktopKind::Picture || head.kind > DesktopKind::End || head.stream == 0) return false;
    if (!head.HasPicture()) return left == 0 && head.format == PictureFormat::None;
    return left > 0 && head.sequence > 0 && head.picture > 0 &&
           (head.format == PictureFormat::Jpeg || head.format == PictureFormat::Png);
}

}  // namespace

std::string Encode(const DesktopHead& head, const std::string& picture) {
    std::string frame = CByteWriter()
                            .U8(static_cast<uint8_t>(head.kind))
                            .U8(static_cast<uint8_t>(head.format))
                            .U32(head.stream)
                            .U32(head.sequence)
                            .U32(head.picture)
                            .U64(head.takenUs)
                            .Result();
    frame.reserve(frame.size() + picture.size());
    return frame += picture;
}

bool Decode(const char* data, size_t length, DesktopHead& head, std::string& picture) {
    if (length > kMaxDesktopFrame) return false;
    CByteReader reader(data, length);
    head.kind = static_cast<DesktopKind>(reader.U8());
    head.format = static_cast<PictureFormat>(reader.U8());
    head.stream = reader.U32();
    head.sequence = reader.U32();
    head.picture = reader.U32();
    head.takenUs = reader.U64();
    const size_t left = reader.Left();
    const char* bytes = reader.Bytes(left);
    if (!reader.Ok() || !IsConsistent(head, left)) return false;
    picture.assign(left > 0 ? bytes : "", left);
    return true;
}

std::string Encode(const ViewReport& report) {
    return CByteWriter()
        .U8(report.leaves ? kViewerLeaves : kViewReport)
        .U64(report.viewer)
        .U32(report.asking)
        .U32(report.stream)
        .U32(report.sequence)
        .U16(report.pointerX)
        .U16(report.pointerY)
        .Result();
}

bool Decode(const char* data, size_t length, ViewReport& report) {
    CByteReader reader(data, length);
    const uint8_t kind = reader.U8();
    report.leaves = kind == kViewerLeaves;
    report.viewer = reader.U64();
    report.asking = reader.U32();
    report.stream = reader.U32();
    report.sequence = reader.U32();
    report.pointerX = reader.U16();
    report.pointerY = reader.U16();
    return (report.leaves || kind == kViewReport) && reader.Done() && report.viewer != 0;
}

}  // namespace lumo
