#include "tools/lumo/board/shape_change.h"

#include <algorithm>
#include <cmath>

namespace lumo {
namespace {

/// Where a coordinate goes when what reached from `from` to `to` reaches from `newFrom` to `newTo`. What had no extent
/// keeps none.
int32_t Carried(int32_t at, int32_t from, int32_t to, int32_t newFrom, int32_t newTo) {
    const double length = static_cast<double>(to) - from;
    const double scale = length == 0 ? 1 : (static_cast<double>(newTo) - newFrom) / length;
    const double there = std::round(newFrom + (static_cast<double>(at) - from) * scale);
    return static_cast<int32_t>(std::clamp<double>(there, INT32_MIN, INT32_MAX));
}

}  // namespace

std::string ChangedRecord(std::string_view record, const ShapeChange& change) {
    Shape shape;
    if (!ParseRecord(record, shape)) return {};
    if (change.box) {
        const Box from = shape.box, to = *change.box;
        for (Point& point : shape.points) {
            point.x = Carried(point.x, from.left, from.right, to.left, to.right);
            point.y = Carried(point.y, from.top, from.bottom, to.top, to.bottom);
        }
        shape.box = to;
    }
    shape.colour = change.colour.value_or(shape.colour);
    shape.width = change.width.value_or(shape.width);
    shape.fill = change.fill.value_or(shape.fill);
    return EncodeRecord(shape);
}

}  // namespace lumo
