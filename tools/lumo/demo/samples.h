// The streams of assets/, built into the program.
#pragma once

#include <string_view>

namespace lumo {

/// The file of this name; empty when there is none.
std::string_view Sample(std::string_view name);

}  // namespace lumo
