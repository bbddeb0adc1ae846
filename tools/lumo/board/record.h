// What is drawn, and the bytes that it is on the wire: docs/whiteboard-records.md.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lumo {

/// The number at the beginning of a record; it decides where a move finds the coordinates.
enum class ShapeType : uint32_t {
    Pen = 1,
    Marker = 2,
    Line = 3,
    Arrow = 4,
    Rectangle = 5,
    Ellipse = 6,
    Text = 8,
    Picture = 9,
};

enum class BoardPictureFormat : uint32_t { Png = 1, Jpeg = 2 };

/// Coordinates and widths are sixteenths of a point of the board, y downwards.
inline constexpr int32_t kUnitsPerPoint = 16;
inline constexpr size_t kMaxPoints = 20000;
inline constexpr size_t kMaxText = 4000;  // bytes of UTF-8
inline constexpr size_t kMaxBoardPicture =
    1024 * 1024 - 64;  // bytes as encoded: what older servers pass on, with heads
inline constexpr uint32_t kMaxWidth = 256 * kUnitsPerPoint;

struct Point {
    int32_t x = 0, y = 0;
    bool operator==(const Point& other) const { return x == other.x && y == other.y; }
};

/// Lines and arrows go from left, top to right, bottom, whichever is greater; the others have them in order.
struct Box {
    int32_t left = 0, top = 0, right = 0, bottom = 0;

    bool operator==(const Box&) const = default;
};

/// How far something is moved: 32-bit arithmetic that wraps, as everywhere.
struct Shift {
    uint32_t dx = 0, dy = 0;

    void Add(const Shift& other) {
        dx += other.dx;
        dy += other.dy;
    }
    Shift Back() const { return {0 - dx, 0 - dy}; }
    bool IsNone() const { return dx == 0 && dy == 0; }
};

/// Of an object that was changed, behind its record: changing makes another object of it.
struct Version {
    uint32_t origin = 0;   ///< the object's number when it was drawn; 0: it was never changed
    uint32_t changed = 0;  ///< when: tenths of a second since 1970, modulo 2^32
};
inline constexpr size_t kVersionBytes = 8;

struct Shape {
    ShapeType type = ShapeType::Pen;
    uint32_t colour = 0;  ///< 0xRRGGBB
    uint32_t width = 0;   ///< of the pen; of a text the height of its letters
    uint32_t fill = 0;    ///< 0 for none, else 0xFFRRGGBB; rectangles and ellipses only
    Box box;
    std::vector<Point> points;  ///< pen and marker only
    std::string bytes;          ///< a text, or an encoded picture
    BoardPictureFormat format = BoardPictureFormat::Png;
    uint32_t like = 0;  ///< the ID of the picture whose bytes this one is to have; no part of a record
};

/// False for what this program does not draw; nothing of it may be relied on then.
bool ParseRecord(std::string_view record, Shape& shape);
/// Empty for a shape that goes beyond the limits.
std::string EncodeRecord(const Shape& shape);
/// As every holder of the record moves it. Records without known geometry, and what lies beyond the record's end, stay
/// as they are.
void MoveRecord(std::string& record, const Shift& by);

/// Where a move finds the rectangle; false for a record without known geometry.
bool PlaceOf(std::string_view record, Box& box);

void MoveBox(Box& box, const Shift& by);

Version VersionOf(std::string_view record);
/// A record that this program does not draw stays as it is.
void SetVersion(std::string& record, const Version& version);
/// Of two versions of one thing, whether the first is the later one.
bool IsLater(const Version& one, uint32_t oneID, const Version& other, uint32_t otherID);

/// What the first bytes show; false for anything but PNG and JPEG.
bool FormatOf(std::string_view picture, BoardPictureFormat& format);

}  // namespace lumo
