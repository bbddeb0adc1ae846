// Where in a file decoding may begin.
#pragma once

#include <sys/types.h>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace lumo {

/// The IDR pictures of a stream and how many access units it has.
struct VideoIndex {
    struct Key {
        uint64_t offset;  ///< of its access unit's first byte
        uint64_t number;  ///< of the access unit, from 0
    };
    std::vector<Key> keys;
    uint64_t units = 0;

    /// The key nearest to a unit, the later of two; null when there is none.
    const Key* Nearest(uint64_t number) const;
    /// The first key behind a unit; with `loop` the search goes on at the beginning.
    const Key* After(uint64_t number, bool loop) const;
};

/// Bytes of the stream in order; 0 at its end, negative when it cannot be read.
using VideoBytes = std::function<ssize_t(char* buffer, size_t size)>;

/// Reads a whole stream; false with the problem to show.
bool ReadVideoIndex(const VideoBytes& read, VideoIndex& index, std::string& problem);

}  // namespace lumo
