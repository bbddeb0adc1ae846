#include "tools/lumo/ui/qr_code.h"

#include <qrencode.h>

#include <memory>

namespace lumo {
namespace {

constexpr int kBorder = 4;                                              // what readers count on
constexpr const char* kBlocks[] = {" ", "\u2584", "\u2580", "\u2588"};  // by which halves are light: lower 1, upper 2

bool IsLight(const QRcode& code, int row, int column) {
    const int width = code.width;
    if (row < 0 || column < 0 || row >= width || column >= width) return true;
    return (code.data[row * width + column] & 1U) == 0;
}

}  // namespace

std::string QrPicture(const std::string& text, size_t columns, bool coloured) {
    const std::unique_ptr<QRcode, void (*)(QRcode*)> code(QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_L),
                                                          QRcode_free);
    if (!code || static_cast<size_t>(code->width + 2 * kBorder) > columns) return "";
    const int end = code->width + kBorder;
    constexpr size_t kMostOfALine = 3 * 80 + 16;
    std::string picture;
    picture.reserve(static_cast<size_t>(end) * kMostOfALine);  // one that grew would leave copies behind
    for (int row = -kBorder; row < end; row += 2) {
        if (coloured) picture += "\x1b[97;40m";
        for (int column = -kBorder; column < end; ++column)
            picture += kBlocks[(IsLight(*code, row, column) ? 2 : 0) + (IsLight(*code, row + 1, column) ? 1 : 0)];
        picture += coloured ? "\x1b[0m\n" : "\n";
    }
    return picture;
}

}  // namespace lumo
