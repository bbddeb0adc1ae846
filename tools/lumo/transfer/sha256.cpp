#include "tools/lumo/transfer/sha256.h"

namespace lumo {

std::string HexOf(const Digest& digest) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (uint8_t byte : digest) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

}  // namespace lumo
