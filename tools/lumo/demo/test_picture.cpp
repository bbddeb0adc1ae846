#include "tools/lumo/demo/test_picture.h"

#include <png.h>

#include <vector>

namespace lumo {

std::string TestPng(uint32_t width, uint32_t height, uint32_t number) {
    std::string file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    const auto append = [](png_structp to, png_bytep bytes, size_t length) {
        static_cast<std::string*>(png_get_io_ptr(to))->append(reinterpret_cast<const char*>(bytes), length);
    };
    png_set_write_fn(png, &file, append, nullptr);
    png_set_compression_level(png, 0);  // it shall be as long as a picture of something
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    std::vector<uint8_t> row(width);
    for (uint32_t y = 0; y < height; ++y) {
        for (uint32_t x = 0; x < width; ++x) row[x] = static_cast<uint8_t>((x ^ y) + 37 * number);
        png_write_row(png, row.data());
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return file;
}

}  // namespace lumo
