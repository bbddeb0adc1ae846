#include "tools/lumo/board/board_events.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace lumo {
namespace {

using Json = nlohmann::json;

constexpr std::array<std::pair<const char*, ShapeType>, 8> kTypes = {{
    {"pen", ShapeType::Pen},
    {"marker", ShapeType::Marker},
    {"line", ShapeType::Line},
    {"arrow", ShapeType::Arrow},
    {"rectangle", ShapeType::Rectangle},
    {"ellipse", ShapeType::Ellipse},
    {"text", ShapeType::Text},
    {"picture", ShapeType::Picture},
}};

const Json& Member(const Json& json, const char* name) {
    static const Json nothing;
    const auto found = json.find(name);
    return found == json.end() ? nothing : *found;
}

template <class Number>
bool ReadNumber(const Json& json, Number& number) {
    if (!json.is_number_integer()) return false;
    if (json.is_number_unsigned() && json.get<uint64_t>() > INT64_MAX) return false;
    const auto value = json.get<int64_t>();
    if (!std::in_range<Number>(value)) return false;
    number = static_cast<Number>(value);
    return true;
}

bool ReadColour(const Json& json, uint32_t& colour) {
    if (!json.is_string()) return false;
    const auto& text = json.get_ref<const std::string&>();
    if (text.size() != 7 || text[0] != '#') return false;
    const char* const end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data() + 1, end, colour, 16);
    return error == std::errc() && at == end;
}

bool ReadBoxOf(const Json& json, Box& box) {
    if (!json.is_array() || json.size() != 4) return false;
    return ReadNumber(json[0], box.left) && ReadNumber(json[1], box.top) && ReadNumber(json[2], box.right) &&
           ReadNumber(json[3], box.bottom);
}

bool ReadPoints(const Json& json, std::vector<Point>& points) {
    if (!json.is_array() || json.empty() || json.size() % 2 != 0 || json.size() > 2 * kMaxPoints) return false;
    points.resize(json.size() / 2);
    for (size_t i = 0; i < points.size(); ++i) {
        if (!ReadNumber(json[2 * i], points[i].x) || !ReadNumber(json[2 * i + 1], points[i].y)) return false;
    }
    return true;
}

bool ReadWidth(const Json& json, uint32_t& width) { return ReadNumber(json, width) && width <= kMaxWidth; }

bool ReadFill(const Json& json, uint32_t& fill) {
    fill = 0;
    if (json.is_null()) return true;
    if (!ReadColour(json, fill)) return false;
    fill |= 0xff000000U;
    return true;
}

/// The bytes of a picture come by a request of their own, or are those of one that there is already.
bool ReadShape(const Json& json, Shape& shape) {
    if (!json.is_object()) return false;
    const Json& type = Member(json, "type");
    const auto known = std::find_if(kTypes.begin(), kTypes.end(), [&](const auto& row) { return type == row.first; });
    if (known == kTypes.end() || !ReadBoxOf(Member(json, "box"), shape.box)) return false;
    shape.type = known->second;
    if (shape.type == ShapeType::Picture) return ReadNumber(Member(json, "like"), shape.like) && shape.like != 0;
    if (!ReadColour(Member(json, "colour"), shape.colour) || !ReadWidth(Member(json, "width"), shape.width) ||
        !ReadFill(Member(json, "fill"), shape.fill))
        return false;
    if (shape.type == ShapeType::Pen || shape.type == ShapeType::Marker)
        return ReadPoints(Member(json, "points"), shape.points);
    if (shape.type != ShapeType::Text) return true;
    const Json& text = Member(json, "text");
    if (!text.is_string()) return false;
    shape.bytes = text.get<std::string>();
    return !shape.bytes.empty() && shape.bytes.size() <= kMaxText;
}

bool ReadChange(const Json& json, ShapeChange& change) {
    if (!json.is_object() || !ReadNumber(Member(json, "id"), change.id)) return false;
    const auto may = [&](const char* name, auto read, auto& value) {
        const auto found = json.find(name);
        return found == json.end() || read(*found, value.emplace());
    };
    return may("box", ReadBoxOf, change.box) && may("colour", ReadColour, change.colour) &&
           may("width", ReadWidth, change.width) && may("fill", ReadFill, change.fill);
}

template <class Item>
bool ReadEach(const Json& json, bool (*read)(const Json&, Item&), std::vector<Item>& items) {
    if (!json.is_array() || json.empty() || json.size() > kMaxShapes) return false;
    items.resize(json.size());
    for (size_t i = 0; i < items.size(); ++i) {
        if (!read(json[i], items[i])) return false;
    }
    return true;
}

bool ReadIDs(const Json& json, std::vector<uint32_t>& ids) {
    if (!json.is_array() || json.empty() || json.size() > CBoardModel::kMaxObjects) return false;
    ids.resize(json.size());
    for (size_t i = 0; i < ids.size(); ++i) {
        if (!ReadNumber(json[i], ids[i])) return false;
    }
    return true;
}

bool ReadAction(const Json& json, BoardAction& action) {
    using Kind = BoardAction::Kind;
    if (!json.is_object()) return false;
    const Json& what = Member(json, "do");
    const auto is = [&](const char* word, Kind kind) {
        if (what != word) return false;
        action.kind = kind;
        return true;
    };
    if (is("clear", Kind::Clear) || is("undo", Kind::Undo) || is("redo", Kind::Redo)) return true;
    if (is("pointer gone", Kind::PointerGone)) return true;
    if (is("add", Kind::Add)) return ReadEach(Member(json, "objects"), ReadShape, action.shapes);
    if (is("change", Kind::Change)) return ReadEach(Member(json, "objects"), ReadChange, action.changes);
    if (is("replace", Kind::Replace)) {
        action.ids.resize(1);
        action.shapes.resize(1);
        return ReadNumber(Member(json, "id"), action.ids[0]) && ReadShape(Member(json, "object"), action.shapes[0]);
    }
    if (is("delete", Kind::Delete)) return ReadIDs(Member(json, "ids"), action.ids);
    if (is("pointer", Kind::Pointer))
        return ReadNumber(Member(json, "x"), action.dx) && ReadNumber(Member(json, "y"), action.dy);
    if (is("move", Kind::Move))
        return ReadIDs(Member(json, "ids"), action.ids) && ReadNumber(Member(json, "dx"), action.dx) &&
               ReadNumber(Member(json, "dy"), action.dy);
    if (!is("name", Kind::Name)) return false;
    const Json& name = Member(json, "name");
    if (name.is_string()) action.name = name.get<std::string>();
    return !action.name.empty();
}

}  // namespace

bool ParseActions(std::string_view body, std::vector<BoardAction>& actions) {
    actions.clear();
    if (body.size() > kMaxPosted) return false;
    const Json json = Json::parse(body.begin(), body.end(), nullptr, false);
    if (!json.is_array() || json.size() > kMaxActions) return false;
    std::vector<BoardAction> read(json.size());
    size_t shapes = 0;
    for (size_t i = 0; i < read.size(); ++i) {
        if (!ReadAction(json[i], read[i])) return false;
        shapes += read[i].shapes.size() + read[i].changes.size();
    }
    if (shapes > kMaxShapes) return false;
    actions = std::move(read);
    return true;
}

bool ParseBox(const std::string& text, Box& box) {
    const char* at = text.data();
    const char* const end = at + text.size();
    for (int32_t* edge : {&box.left, &box.top, &box.right, &box.bottom}) {
        if (edge != &box.left && (at == end || *at++ != ',')) return false;
        const auto [next, error] = std::from_chars(at, end, *edge);
        if (error != std::errc()) return false;
        at = next;
    }
    return at == end;
}

std::string ColourText(uint32_t colour) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "#";
    for (int shift = 20; shift >= 0; shift -= 4) text += kDigits[colour >> shift & 0xfU];
    return text;
}

Json ObjectJson(uint32_t id, const BoardObject& object) {
    Json json{{"id", id}, {"tag", object.tag}};
    Shape shape;
    if (!ParseRecord(object.Record(), shape)) return json;
    const auto row =
        std::find_if(kTypes.begin(), kTypes.end(), [&](const auto& it) { return it.second == shape.type; });
    json["type"] = row->first;
    json["box"] = {shape.box.left, shape.box.top, shape.box.right, shape.box.bottom};
    if (shape.type == ShapeType::Picture) return json;
    json["colour"] = ColourText(shape.colour);
    json["width"] = shape.width;
    json["fill"] = shape.fill == 0 ? Json(nullptr) : Json(ColourText(shape.fill));
    if (shape.type == ShapeType::Text) json["text"] = std::move(shape.bytes);
    if (shape.points.empty()) return json;
    Json& points = json["points"] = Json::array();
    for (const Point& point : shape.points) {
        points.push_back(point.x);
        points.push_back(point.y);
    }
    return json;
}

std::string DumpJson(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

}  // namespace lumo
