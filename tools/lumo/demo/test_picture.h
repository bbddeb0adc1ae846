// Pictures to try a shared screen with.
#pragma once

#include <cstdint>
#include <string>

namespace lumo {

/// A PNG of that size with a pattern of grey that differs with `number`.
std::string TestPng(uint32_t width, uint32_t height, uint32_t number);

}  // namespace lumo
