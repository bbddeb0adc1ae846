// QR codes on a terminal.
#pragma once

#include <cstddef>
#include <string>

namespace lumo {

/// Lines of half blocks, light on dark, with a border of four modules; empty when it would be wider than `columns`.
/// `coloured` asks the terminal for these colours, whatever its own are. Wipe it when the text is a secret.
std::string QrPicture(const std::string& text, size_t columns, bool coloured);

}  // namespace lumo
