// Little-endian words of whiteboard messages and records.
#pragma once

#include "platform/lumobase/byte_order.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace lumo {

/// The four bytes at `at`; 0 when they are not all there.
inline uint32_t WordAt(std::string_view bytes, size_t at) {
    if (at > bytes.size() || bytes.size() - at < 4) return 0;
    return Lumo_Base::LittleEndian(bytes.data() + at);
}

inline void AddWord(std::string& bytes, uint32_t value) {
    bytes.append(4, '\0');
    Lumo_Base::PutLittleEndian(bytes.data() + bytes.size() - 4, value);
}

}  // namespace lumo
