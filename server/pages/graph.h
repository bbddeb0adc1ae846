// A line graph with a title and axes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct CGraphLine {
    const char* name;              ///< empty where there is one line only
    const char* color;             ///< a class of the style
    std::vector<uint64_t> values;  ///< oldest first
};

struct CGraph {
    const char* title;
    std::vector<CGraphLine> lines;
    size_t room;                    ///< places from left to right; the newest value is at the right
    const char* span;               ///< what they are together: "1 h"
    uint64_t least;                 ///< the top of the axis is no lower
    std::string (*text)(uint64_t);  ///< a value in words
};

/// A figure: title and last values, axes, and the lines as an inline SVG.
std::string GraphHtml(const CGraph& graph);

/// The end of an axis that holds the value: 1, 2 or 5 times a power of ten.
uint64_t AxisEnd(uint64_t value);

/// Text as HTML shows it, in elements and quoted attributes.
std::string EscapeHtml(const std::string& text);
