// Memory for secrets.
#pragma once

#include <openssl/crypto.h>

#include <array>
#include <cstddef>

namespace seal {

/// Bytes that are overwritten when they go.
template <size_t N>
struct Wiped : std::array<unsigned char, N> {
    Wiped() : std::array<unsigned char, N>{} {}
    ~Wiped() { OPENSSL_cleanse(this->data(), N); }
    Wiped(const Wiped&) = default;
    Wiped& operator=(const Wiped&) = default;
};

}  // namespace seal
