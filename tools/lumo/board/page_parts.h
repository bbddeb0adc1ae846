// The files of tools/lumo/board/page, built into the program.
#pragma once

#include <string_view>
#include <vector>

namespace lumo {

struct PagePart {
    std::string_view path;  ///< as it is asked for
    std::string_view type;
    std::string_view content;
};

/// Made by the build.
const std::vector<PagePart>& PageParts();

}  // namespace lumo
