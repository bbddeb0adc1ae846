// What a page posts, and what it is sent.
#pragma once

#include "tools/lumo/board/board_model.h"
#include "tools/lumo/board/record.h"
#include "tools/lumo/board/shape_change.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lumo {

inline constexpr size_t kMaxPosted = 4U * 1024 * 1024;  // bytes of one request
inline constexpr size_t kMaxActions = 100;
inline constexpr size_t kMaxShapes = 1000;  // of one request

struct BoardAction {
    enum class Kind { Add, Replace, Change, Move, Delete, Clear, Undo, Redo, Pointer, PointerGone, Name };
    Kind kind = Kind::Undo;
    std::vector<Shape> shapes;
    std::vector<ShapeChange> changes;
    std::vector<uint32_t> ids;  ///< one of a replacement
    int32_t dx = 0, dy = 0;     ///< of a move; where a pointer is
    std::string name;
};

/// The body of a post: an array of actions. False, with nothing in `actions`, when anything of it is not as it must be.
bool ParseActions(std::string_view body, std::vector<BoardAction>& actions);

/// "l,t,r,b" of a posted picture.
bool ParseBox(const std::string& text, Box& box);

/// An object as pages know it. One that is not drawn by this program has no "type".
nlohmann::json ObjectJson(uint32_t id, const BoardObject& object);

/// What is in a string that came from others may be no UTF-8.
std::string DumpJson(const nlohmann::json& json);

/// "#rrggbb".
std::string ColourText(uint32_t colour);

}  // namespace lumo
