#include "whiteboard/wb_geometry.h"

#include "whiteboard/wb_message.h"

#include <algorithm>

namespace wb {
namespace {

constexpr int kPoint = 8;  // x, y
constexpr int kRectangle = 2 * kPoint;
constexpr int kCountAt = 36;
constexpr int kPointsAt = 40;
constexpr uint32_t kLastWithPoints = 2;

/// Where the rectangle of a type lies; 0 for an unknown type.
int RectangleAt(uint32_t type) {
    if (type >= 1 && type <= 7) return 20;
    return type == 8 ? 16 : type == 9 ? 12 : 0;
}

void MovePoints(char* at, int count, uint32_t dx, uint32_t dy) {
    for (char* end = at + count * kPoint; at != end; at += kPoint) {
        PutWord(at, Word(at) + dx);
        PutWord(at + 4, Word(at + 4) + dy);
    }
}

}  // namespace

void MoveRecord(char* record, int length, uint32_t dx, uint32_t dy) {
    if (length < 4) return;
    const uint32_t type = Word(record);
    const int rectangle = RectangleAt(type);
    if (rectangle == 0 || length < rectangle + kRectangle) return;
    MovePoints(record + rectangle, kRectangle / kPoint, dx, dy);
    if (type > kLastWithPoints || length < kPointsAt) return;
    const auto said = static_cast<int32_t>(Word(record + kCountAt));
    MovePoints(record + kPointsAt, std::clamp(said, 0, (length - kPointsAt) / kPoint), dx, dy);
}

}  // namespace wb
