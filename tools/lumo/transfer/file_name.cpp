#include "tools/lumo/transfer/file_name.h"

#include "tools/lumo/transfer/limits.h"

#include <cstdint>

#include <xxhash.h>

namespace lumo {
namespace {

constexpr uint32_t kBroken = UINT32_MAX;

/// Takes one character off `text` at `at`; kBroken, and one byte, where there is none.
uint32_t NextCharacter(const std::string& text, size_t& at) {
    const auto byte = [&](size_t i) { return static_cast<uint8_t>(text[i]); };
    const uint8_t lead = byte(at++);
    if (lead < 0x80) return lead;
    const int more = lead >= 0xC2 && lead < 0xE0 ? 1 : (lead & 0xF0) == 0xE0 ? 2 : lead >= 0xF0 && lead < 0xF5 ? 3 : 0;
    if (more == 0 || text.size() - at < static_cast<size_t>(more)) return kBroken;
    uint32_t value = lead & (0x3FU >> more);
    for (int i = 0; i < more; ++i) {
        if ((byte(at + static_cast<size_t>(i)) & 0xC0) != 0x80) return kBroken;
        value = (value << 6) | (byte(at + static_cast<size_t>(i)) & 0x3F);
    }
    const uint32_t least = more == 3 ? 0x10000 : more == 2 ? 0x800 : 0x80;
    if (value < least || value > 0x10FFFF || (value >= 0xD800 && value < 0xE000)) return kBroken;
    at += static_cast<size_t>(more);
    return value;
}

bool IsControl(uint32_t character) { return character < 0x20 || (character >= 0x7F && character < 0xA0); }
/// Characters that turn the direction of writing or hide, so that a name shows as another one.
bool IsDisguise(uint32_t character) {
    return (character >= 0x200B && character <= 0x200F) || (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2060 && character <= 0x2069) || character == 0xFEFF;
}

std::string WithSuffix(const std::string& name, const char* suffix) {
    const size_t room = kMaxNameLength - std::string(suffix).size();
    if (name.size() <= room) return name + suffix;
    // Cut names stay different by their hash; the cut may fall inside a character, which file systems do not mind.
    static constexpr char kDigits[] = "0123456789abcdef";
    const uint64_t hash = XXH3_64bits(name.data(), name.size());
    std::string tail = "~";
    for (int shift = 60; shift >= 0; shift -= 4) tail += kDigits[(hash >> shift) & 15];
    return name.substr(0, room - tail.size()) + tail + suffix;
}

}  // namespace

std::string NameProblem(const std::string& name) {
    if (name.empty()) return "it is empty";
    if (name.size() > kMaxNameLength) return "it is longer than 255 bytes";
    if (name == "." || name == "..") return "it names a directory";
    if (name.find_first_of("/\\") != std::string::npos) return "it contains a separator";
    for (size_t at = 0; at < name.size();) {
        const uint32_t character = NextCharacter(name, at);
        if (character == kBroken) return "it is not UTF-8";
        if (IsControl(character)) return "it contains a control character";
        if (IsDisguise(character)) return "it contains an invisible character";
    }
    return "";
}

std::string VisibleName(const std::string& name) { return name.find_first_of(".-") == 0 ? "_" + name : name; }

std::string BaseName(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string PartName(const std::string& name) { return WithSuffix(name, ".part"); }
std::string MapName(const std::string& name) { return WithSuffix(name, ".part.map"); }

std::string Printable(const std::string& text) {
    std::string result;
    for (size_t at = 0; at < text.size();) {
        const size_t start = at;
        const uint32_t character = NextCharacter(text, at);
        if (character == kBroken || IsControl(character) || IsDisguise(character))
            result += '?';
        else
            result.append(text, start, at - start);
    }
    return result;
}

}  // namespace lumo
