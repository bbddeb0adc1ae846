// Positions of a viewer's pointer, a line each: "X Y".
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace lumo {

/// Lines of another kind take the pointer away. One thread.
class CPointerInput {
public:
    using Point = std::pair<uint16_t, uint16_t>;

    /// The last position of the lines that have become whole with these bytes.
    std::optional<Point> Feed(const char* data, size_t length);

private:
    static constexpr size_t kMaxLine = 64;  ///< of a longer one the rest is ignored

    std::string m_strLine;
};

}  // namespace lumo
