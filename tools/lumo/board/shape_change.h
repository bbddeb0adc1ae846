// What a page changes of an object that stays what it is.
#pragma once

#include "tools/lumo/board/record.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lumo {

struct ShapeChange {
    uint32_t id = 0;
    std::optional<Box> box;  ///< points go where the old box goes
    std::optional<uint32_t> colour;
    std::optional<uint32_t> width;
    std::optional<uint32_t> fill;
};

/// The record afterwards, as long as before. Empty for what this program does not draw.
std::string ChangedRecord(std::string_view record, const ShapeChange& change);

}  // namespace lumo
