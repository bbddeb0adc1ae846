#include "tools/lumo/board/record.h"

#include "tools/lumo/board/little_endian.h"
#include "whiteboard/wb_geometry.h"

#include <algorithm>

namespace lumo {
namespace {

constexpr size_t kColourAt = 4, kWidthAt = 8, kFillAt = 12;
constexpr size_t kDrawnBoxAt = 20, kCountAt = 36, kPointsAt = 40;
constexpr size_t kTextBoxAt = 16, kTextLengthAt = 32, kTextAt = 36;
constexpr size_t kFormatAt = 4, kPictureLengthAt = 8, kPictureBoxAt = 12, kPictureAt = 28;

bool HasPoints(uint32_t type) { return type == 1 || type == 2; }

bool HasFill(ShapeType type) { return type == ShapeType::Rectangle || type == ShapeType::Ellipse; }

int32_t IntAt(std::string_view record, size_t at) { return static_cast<int32_t>(WordAt(record, at)); }

/// Where a move finds the rectangle; 0 for a type without known geometry.
size_t BoxAt(uint32_t type) {
    if (type >= 1 && type <= 7) return kDrawnBoxAt;
    if (type == 8) return kTextBoxAt;
    return type == 9 ? kPictureBoxAt : 0;
}

void ReadBox(std::string_view record, size_t at, Box& box) {
    box = {IntAt(record, at), IntAt(record, at + 4), IntAt(record, at + 8), IntAt(record, at + 12)};
}

void AddBox(std::string& record, const Box& box) {
    for (const int32_t edge : {box.left, box.top, box.right, box.bottom}) AddWord(record, static_cast<uint32_t>(edge));
}

/// The counted bytes at the end, which must be all that is left.
bool ReadTail(std::string_view record, size_t lengthAt, size_t at, size_t most, std::string& bytes) {
    if (record.size() < at) return false;
    const uint32_t length = WordAt(record, lengthAt);
    if (length > most || record.size() - at != length) return false;
    bytes.assign(record.substr(at));
    return true;
}

bool ReadPoints(std::string_view record, Shape& shape) {
    if (record.size() < kPointsAt) return false;
    const uint32_t count = WordAt(record, kCountAt);
    if (count == 0 || count > kMaxPoints || record.size() - kPointsAt != size_t{count} * 8) return false;
    shape.points.reserve(count);
    for (size_t at = kPointsAt; at < record.size(); at += 8)
        shape.points.push_back({IntAt(record, at), IntAt(record, at + 4)});
    return true;
}

}  // namespace

bool FormatOf(std::string_view picture, BoardPictureFormat& format) {
    using namespace std::string_view_literals;
    const auto begins = [&](std::string_view magic) { return picture.substr(0, magic.size()) == magic; };
    if (begins("\x89PNG\r\n\x1a\n"sv))
        format = BoardPictureFormat::Png;
    else if (begins("\xff\xd8\xff"sv))
        format = BoardPictureFormat::Jpeg;
    else
        return false;
    return true;
}

bool ParseRecord(std::string_view record, Shape& shape) {
    const uint32_t type = WordAt(record, 0);
    const size_t box = BoxAt(type);
    if (box == 0 || type == 7 || record.size() < box + 16) return false;
    shape = Shape();
    shape.type = static_cast<ShapeType>(type);
    ReadBox(record, box, shape.box);
    if (shape.type == ShapeType::Picture) {
        const uint32_t format = WordAt(record, kFormatAt);
        return ReadTail(record, kPictureLengthAt, kPictureAt, kMaxBoardPicture, shape.bytes) &&
               FormatOf(shape.bytes, shape.format) && format == static_cast<uint32_t>(shape.format);
    }
    shape.colour = WordAt(record, kColourAt) & 0xffffff;
    shape.width = std::min(WordAt(record, kWidthAt), kMaxWidth);
    if (shape.type == ShapeType::Text)
        return ReadTail(record, kTextLengthAt, kTextAt, kMaxText, shape.bytes) && !shape.bytes.empty();
    if (HasFill(shape.type)) shape.fill = WordAt(record, kFillAt);
    return HasPoints(type) ? ReadPoints(record, shape) : record.size() == kCountAt;
}

bool PlaceOf(std::string_view record, Box& box) {
    const size_t at = BoxAt(WordAt(record, 0));
    if (at == 0 || record.size() < at + 16) return false;
    ReadBox(record, at, box);
    return true;
}

std::string EncodeRecord(const Shape& shape) {
    std::string record;
    AddWord(record, static_cast<uint32_t>(shape.type));
    if (shape.type == ShapeType::Picture) {
        if (shape.bytes.size() > kMaxBoardPicture) return {};
        AddWord(record, static_cast<uint32_t>(shape.format));
        AddWord(record, static_cast<uint32_t>(shape.bytes.size()));
        AddBox(record, shape.box);
        return record + shape.bytes;
    }
    AddWord(record, shape.colour);
    AddWord(record, shape.width);
    AddWord(record, HasFill(shape.type) ? shape.fill : 0);
    if (shape.type == ShapeType::Text) {
        if (shape.bytes.empty() || shape.bytes.size() > kMaxText) return {};
        AddBox(record, shape.box);
        AddWord(record, static_cast<uint32_t>(shape.bytes.size()));
        return record + shape.bytes;
    }
    AddWord(record, 0);
    AddBox(record, shape.box);
    if (!HasPoints(static_cast<uint32_t>(shape.type))) return record;
    if (shape.points.empty() || shape.points.size() > kMaxPoints) return {};
    AddWord(record, static_cast<uint32_t>(shape.points.size()));
    for (const Point& point : shape.points) {
        AddWord(record, static_cast<uint32_t>(point.x));
        AddWord(record, static_cast<uint32_t>(point.y));
    }
    return record;
}

void MoveRecord(std::string& record, int32_t dx, int32_t dy) {
    wb::MoveRecord(record.data(), static_cast<int>(record.size()), static_cast<uint32_t>(dx),
                   static_cast<uint32_t>(dy));
}

}  // namespace lumo
