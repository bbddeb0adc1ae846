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

/// What begins at `at` and is counted before; 0 when there is none or more than there may be.
size_t Counted(std::string_view record, size_t countAt, size_t at, size_t most, size_t each) {
    const size_t count = WordAt(record, countAt);
    return count == 0 || count > most ? 0 : at + count * each;
}

/// As long as its fields say; 0 for what this program does not draw.
size_t DrawnLength(std::string_view record) {
    const uint32_t type = WordAt(record, 0);
    if (HasPoints(type)) return Counted(record, kCountAt, kPointsAt, kMaxPoints, 8);
    if (type >= 3 && type <= 6) return kCountAt;
    if (type == 8) return Counted(record, kTextLengthAt, kTextAt, kMaxText, 1);
    return type == 9 ? Counted(record, kPictureLengthAt, kPictureAt, kMaxBoardPicture, 1) : 0;
}

void ReadPoints(std::string_view record, Shape& shape) {
    shape.points.reserve((record.size() - kPointsAt) / 8);
    for (size_t at = kPointsAt; at < record.size(); at += 8)
        shape.points.push_back({IntAt(record, at), IntAt(record, at + 4)});
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
    const size_t length = DrawnLength(record);
    if (length == 0 || (record.size() != length && record.size() != length + kVersionBytes)) return false;
    record = record.substr(0, length);
    const uint32_t type = WordAt(record, 0);
    shape = Shape();
    shape.type = static_cast<ShapeType>(type);
    ReadBox(record, BoxAt(type), shape.box);
    if (shape.type == ShapeType::Picture) {
        shape.bytes.assign(record.substr(kPictureAt));
        return FormatOf(shape.bytes, shape.format) && WordAt(record, kFormatAt) == static_cast<uint32_t>(shape.format);
    }
    shape.colour = WordAt(record, kColourAt) & 0xffffff;
    shape.width = std::min(WordAt(record, kWidthAt), kMaxWidth);
    if (HasFill(shape.type)) shape.fill = WordAt(record, kFillAt);
    if (shape.type == ShapeType::Text) shape.bytes.assign(record.substr(kTextAt));
    if (HasPoints(type)) ReadPoints(record, shape);
    return true;
}

Version VersionOf(std::string_view record) {
    const size_t length = DrawnLength(record);
    if (length == 0 || record.size() != length + kVersionBytes) return {};
    return {WordAt(record, length), WordAt(record, length + 4)};
}

void SetVersion(std::string& record, const Version& version) {
    const size_t length = DrawnLength(record);
    if (length == 0 || length > record.size()) return;
    record.resize(length);
    AddWord(record, version.origin);
    AddWord(record, version.changed);
}

bool IsLater(const Version& one, uint32_t oneID, const Version& other, uint32_t otherID) {
    if ((one.origin == 0) != (other.origin == 0)) return one.origin != 0;
    const uint32_t after = one.changed - other.changed;
    const bool undecided = after == 0 || after == 0x80000000;  // the same, or as far apart as numbers can be
    return undecided ? oneID > otherID : after < 0x80000000;
}

void MoveBox(Box& box, const Shift& by) {
    const auto shift = [](int32_t& edge, uint32_t way) {
        edge = static_cast<int32_t>(static_cast<uint32_t>(edge) + way);
    };
    for (int32_t* x : {&box.left, &box.right}) shift(*x, by.dx);
    for (int32_t* y : {&box.top, &box.bottom}) shift(*y, by.dy);
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

void MoveRecord(std::string& record, const Shift& by) {
    wb::MoveRecord(record.data(), static_cast<int>(record.size()), by.dx, by.dy);
}

}  // namespace lumo
