// The header in front of a sealed frame: a key ID and a counter, each in as few bytes as it needs.
#pragma once

#include <cstdint>

namespace seal {

constexpr int kHeaderMost = 17;

struct Header {
    uint64_t keyID;
    uint64_t counter;
    int length;  ///< of the header itself
};

/// Its length; there is room for kHeaderMost bytes.
int WriteHeader(uint64_t keyID, uint64_t counter, unsigned char* at);

/// False when it is cut short or a value stands in more bytes than it needs: a frame then has but one header.
bool ReadHeader(const unsigned char* at, int length, Header& header);

}  // namespace seal
