// A small line graph.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// An inline SVG of the values, oldest left, newest at the right edge of `room` places; the top is the largest value or
/// `least`, whichever is more.
std::string GraphSvg(const std::vector<uint32_t>& values, size_t room, uint32_t least, const char* cssClass,
                     const std::string& title);

/// Text as HTML shows it, in elements and quoted attributes.
std::string EscapeHtml(const std::string& text);
